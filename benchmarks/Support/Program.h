// The main function of a program that measures.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace bench {

// Runs `measure` with the number of rounds, the program's first argument; returns its exit status.
template <typename Measure>
int runProgram(int argc, char** argv, const Measure& measure) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 0;
  try {
    if (rounds > 0) measure(rounds);
    else std::fprintf(stderr, "usage: %s ROUNDS\n", argv[0]);
    return rounds > 0 ? 0 : 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}

}  // namespace bench
