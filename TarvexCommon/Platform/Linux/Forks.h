// Which of the forks that came from one process this is. Internal.
#pragma once

#include <cstdint>

namespace tarvex {

// Another number than in the parent, from the first call on. A process ID would not do: a child in
// a namespace of its own may have its parent's.
std::uint64_t forkNumber();

}  // namespace tarvex
