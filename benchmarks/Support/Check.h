// What has to be so for a measurement to mean anything.
#pragma once

#include <cstdlib>

namespace bench {

inline void check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace bench
