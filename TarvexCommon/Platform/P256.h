// Points and private scalars of the curve P-256 (FIPS 186-4, D.1.2.3). Internal.
#pragma once

#include <cstddef>
#include <optional>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

inline constexpr std::size_t p256ScalarSize = 32;
inline constexpr std::size_t p256PointSize = 1 + 2 * p256ScalarSize;  // uncompressed

// Returns, uncompressed (04, X, Y), the point that is encoded so or compressed (02 or 03, X);
// nothing when the bytes are no point of the curve (SEC 1, 2.3.4).
std::optional<Data> p256Point(Bytes encoded);

// Returns the public point, uncompressed, of a private scalar of `p256ScalarSize` bytes, or
// nothing when the scalar is zero or not below the order of the curve.
std::optional<Data> p256PublicPoint(Bytes scalar);

}  // namespace tarvex
