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

  std::size_t size() const noexcept { return static_cast<std::size_t>(end_ - memory_.data()); }
  std::string_view text() const noexcept { return {memory_.data(), size()}; }

  void add(char character) {
    *room(1) = character;
    ++end_;
  }
  void add(std::string_view text) { added(text.copy(room(text.size()), text.size())); }

  bool hasRoom(std::size_t count) const noexcept {
    return static_cast<std::size_t>(limit_ - end_) >= count;
  }
  char* room(std::size_t count) {
    if (!hasRoom(count)) grow(count);
    return end_;
  }
  void added(std::size_t count) noexcept { end_ += count; }

  // Takes back what was added since the text had that size.
  void cut(std::size_t size) noexcept { end_ = memory_.data() + size; }

  // Takes back the comma at the end, if there is one.
  void cutComma() noexcept {
    if (size() > 0 && end_[-1] == ',') --end_;
  }

 private:
  void grow(std::size_t count);
  void setEnd(std::size_t size);

  std::string memory_;
  char* end_;    // of the text
  char* limit_;  // of the memory
};

}  // namespace tarvex::coding
