#include "TarvexCommon/Base/JSON/Output.h"

#include <algorithm>
#include <utility>

namespace tarvex::coding {
namespace {

// Set when the thread has destroyed its spare memory; static objects may still write JSON.
thread_local bool isEnding = false;

struct Spare {
  ~Spare() { isEnding = true; }

  std::string memory;
};
thread_local Spare spare;

// Longer memory than this is not kept.
constexpr std::size_t keptSize = 262144;

}  // namespace

Output::Output() {
  if (!isEnding) memory_ = std::move(spare.memory);
}

Output::~Output() {
  if (!isEnding && memory_.size() <= keptSize) spare.memory = std::move(memory_);
}

void Output::grow(std::size_t count) {
  constexpr std::size_t first = 256;
  memory_.resize(std::max({size_ + count, 2 * memory_.size(), first}));
}

}  // namespace tarvex::coding
