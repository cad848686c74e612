// Repeatable randomness: TARVEX_TEST_SEED is its seed, and a number names a stream of it.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <random>
#include <string>

namespace tarvex {

class Random {
 public:
  explicit Random(unsigned stream = 0) : engine_(seed() + 65536 * stream) {
    testing::Test::RecordProperty("seed", std::to_string(seed()));
  }

  std::size_t below(std::size_t end) { return engine_() % end; }

 private:
  static unsigned seed() {
    const char* given = std::getenv("TARVEX_TEST_SEED");
    return given == nullptr ? 1 : static_cast<unsigned>(std::atoi(given));
  }

  std::mt19937 engine_;
};

}  // namespace tarvex
