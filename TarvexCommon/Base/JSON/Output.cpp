#include "TarvexCommon/Base/JSON/Output.h"

#include <algorithm>
#include <utility>

#include "TarvexCommon/Base/ThreadSpare.h"

namespace tarvex::coding {

Output::Output() : memory_(ThreadSpare<std::string>::take()) {}

Output::~Output() {
  constexpr std::size_t longestKept = 262144;
  if (memory_.size() <= longestKept) ThreadSpare<std::string>::keep(std::move(memory_));
}

void Output::grow(std::size_t count) {
  constexpr std::size_t first = 256;
  memory_.resize(std::max({size_ + count, 2 * memory_.size(), first}));
}

}  // namespace tarvex::coding
