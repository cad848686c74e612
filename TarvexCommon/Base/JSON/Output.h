// JSON text being written. Internal to the coder.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex::coding {

// A text that grows at its end. Behind the text there is room into which one can write first
// and say afterwards how much it was. Each thread keeps the memory of a text that was not
// long for its next one.
class TARVEX_EXPORT Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output();

  std::size_t size() const noexcept { return size_; }
  std::string_view text() const noexcept { return {memory_.data(), size_}; }

  void add(char character) {
    *room(1) = character;
    ++size_;
  }
  void add(std::string_view text) { added(text.copy(room(text.size()), text.size())); }

  char* room(std::size_t count) {
    if (memory_.size() - size_ < count) grow(count);
    return memory_.data() + size_;
  }
  void added(std::size_t count) noexcept { size_ += count; }

  // Takes back what was added since the text had that size.
  void cut(std::size_t size) noexcept { size_ = size; }

 private:
  void grow(std::size_t count);

  std::string memory_;
  std::size_t size_ = 0;
};

}  // namespace tarvex::coding
