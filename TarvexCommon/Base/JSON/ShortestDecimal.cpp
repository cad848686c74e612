#include "TarvexCommon/Base/JSON/ShortestDecimal.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>

namespace tarvex::coding {
namespace {

// Doubles from `smallest` to `end` have a text without exponent and may have a fraction. Half of
// the distance between two of them is a whole number of 2^-60, and a word has room for four bits
// in front of those.
constexpr double smallest = 0.01;
constexpr double end = 0x1p53;
constexpr int fractionBits = 60;
constexpr std::uint64_t one = std::uint64_t{1} << fractionBits;

template <typename Number>
char* writeNumber(char* to, Number value) {
  return std::to_chars(to, to + longestDecimal, value).ptr;
}

// The distance from a double to the middle between it and the next one.
std::uint64_t distanceToMiddle(double value) {
  constexpr int mantissaBits = 52;
  constexpr int exponentBias = 1023;
  const auto exponent = static_cast<int>(std::bit_cast<std::uint64_t>(value) >> mantissaBits);
  return one / 2 >> (mantissaBits + exponentBias - exponent);
}

// Writes digits of a fraction until, with the last one rounded, they are closer to it than the
// distance, or as close unless `isOdd`: a middle reads back as the even one of its neighbours.
// Below a power of two the next double is closer, but those have few digits in all.
// (Steele and White, "How to Print Floating-Point Numbers Accurately", 1990.)
char* writeDigits(char* to, std::uint64_t fraction, std::uint64_t distance, bool isOdd) {
  while (true) {
    fraction *= 10;
    distance *= 10;
    const std::uint64_t digit = fraction / one;
    fraction %= one;
    const std::uint64_t reach = distance - (isOdd ? 1 : 0);  // from zero or from one
    if ((fraction + reach) % one <= 2 * reach) {
      const bool isUp = fraction > one / 2 - digit % 2;  // of two as close to the even one
      *to = static_cast<char>('0' + digit + (isUp ? 1 : 0));
      return to + 1;
    }
    *to++ = static_cast<char>('0' + digit);
  }
}

}  // namespace

char* writeShortestDecimal(char* to, double value) {
  const double size = std::abs(value);
  const bool isPlain = size >= smallest && size < end;
  const auto whole = isPlain ? static_cast<std::int64_t>(size) : 0;
  const double fraction = size - static_cast<double>(whole);
  if (!isPlain || fraction == 0) return writeNumber(to, value);
  *to = '-';
  to = writeNumber(to + (value < 0 ? 1 : 0), whole);
  *to = '.';
  return writeDigits(to + 1, static_cast<std::uint64_t>(fraction * static_cast<double>(one)),
                     distanceToMiddle(size), std::bit_cast<std::uint64_t>(size) % 2 != 0);
}

}  // namespace tarvex::coding
