// Doubles as text. Internal to the coder.
#pragma once

#include <cstddef>

namespace tarvex::coding {

// No text of a double is longer.
constexpr std::size_t longestDecimal = 32;

// Writes a finite double as `std::to_chars` does, with the fewest digits that read back as it,
// and returns the end of the text. Takes little more than half the time where the value has a
// fraction and lies between 0.01 and 2^53.
char* writeShortestDecimal(char* to, double value);

}  // namespace tarvex::coding
