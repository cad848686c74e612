// How thorough the tests are.
#pragma once

#include <cstdlib>

namespace tarvex {

// Whether there is time for many rounds.
inline bool isLong() { return std::getenv("TARVEX_TEST_LONG") != nullptr; }

}  // namespace tarvex
