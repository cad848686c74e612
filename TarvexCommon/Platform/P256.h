// Points and private numbers of the curve P-256 (FIPS 186-4, D.1.2.3). Internal.
#pragma once

#include <cstddef>
#include <optional>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

inline constexpr std::size_t p256NumberSize = 32;
inline constexpr std::size_t p256PointSize = 1 + 2 * p256NumberSize;  // in full

// Returns the point that is encoded in full (04, X, Y) or compressed (02 or 03, X), in full;
// nothing when the bytes are no point of the curve (SEC 1, 2.3.4).
std::optional<Data> p256Point(Bytes encoded);

// Returns the public point, in full, of a private number of `p256NumberSize` bytes, or nothing
// when the number is zero or not below the order of the curve.
std::optional<Data> p256PublicPoint(Bytes number);

}  // namespace tarvex
