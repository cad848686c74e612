// Bytes put together: numbers are big-endian. Internal.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

template <std::unsigned_integral Number>
std::array<std::uint8_t, sizeof(Number)> bigEndian(Number number) {
  std::array<std::uint8_t, sizeof(Number)> bytes;
  for (std::size_t i = bytes.size(); i-- > 0; number >>= 8) {
    bytes[i] = static_cast<std::uint8_t>(number);
  }
  return bytes;
}

// Of up to eight bytes.
inline std::uint64_t fromBigEndian(Bytes bytes) {
  std::uint64_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}

inline void append(Data& to, Bytes what) { to.insert(to.end(), what.begin(), what.end()); }

}  // namespace tarvex
