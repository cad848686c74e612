#include "TarvexCommon/Base/JSON/Output.h"

#include <algorithm>
#include <utility>

#include "TarvexCommon/Base/ThreadSpare.h"

namespace tarvex::coding {

Output::Output() : memory_(ThreadSpare<std::string>::take()) { setEnd(0); }

Output::~Output() {
  constexpr std::size_t longestKept = 262144;
  if (memory_.size() <= longestKept) ThreadSpare<std::string>::keep(std::move(memory_));
}

void Output::grow(std::size_t count) {
  constexpr std::size_t first = 256;
  const std::size_t size = this->size();
  memory_.resize(std::max({size + count, 2 * memory_.size(), first}));
  setEnd(size);
}

void Output::setEnd(std::size_t size) {
  end_ = memory_.data() + size;
  limit_ = memory_.data() + memory_.size();
}

}  // namespace tarvex::coding
