// How thorough the tests are.
#pragma once

#include <cstdlib>

namespace tarvex {

// Whether there is time for many rounds.
inline bool isLong() { return std::getenv("TARVEX_TEST_LONG") != nullptr; }

// Whether there are minutes for a single test, as scripts/torture gives it.
inline bool isTorture() { return std::getenv("TARVEX_TORTURE") != nullptr; }

}  // namespace tarvex
