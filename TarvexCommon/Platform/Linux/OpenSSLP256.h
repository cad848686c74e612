// The curve P-256 in OpenSSL's own form (FIPS 186-4, D.1.2.3). Internal.
//
// Where there is no memory left, these functions throw `std::bad_alloc`.
#pragma once

#include <openssl/ec.h>

#include <array>

#include "TarvexCommon/Platform/Linux/OpenSSLOwner.h"
#include "TarvexCommon/Platform/P256.h"

namespace tarvex {

// A field element or a scalar, big-endian.
using Scalar = std::array<std::uint8_t, p256ScalarSize>;

// The field prime p and the order n.
inline constexpr Scalar p256Prime = {
    0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
inline constexpr Scalar p256Order = {
    0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xBC, 0xE6, 0xFA, 0xAD, 0xA7, 0x17, 0x9E, 0x84, 0xF3, 0xB9, 0xCA, 0xC2, 0xFC, 0x63, 0x25, 0x51};

// Both are 32 bytes, big-endian.
bool isZero(Bytes scalar);
bool isBelow(Bytes scalar, const Scalar& bound);

using P256Point = OpenSSLOwner<EC_POINT, EC_POINT_free>;
using PrivateScalar = OpenSSLOwner<BIGNUM, BN_clear_free>;

// The curve itself; it is never freed.
const EC_GROUP* p256();

P256Point newPoint();
PrivateScalar privateScalar(Bytes scalar);

// The number is not negative and below 2^256.
Scalar toScalar(const BIGNUM* number);

// Returns null when the bytes are no point of the curve, in any form that OpenSSL reads.
P256Point decodedPoint(Bytes encoded);

// 04, X, Y. The point is not at infinity.
Data encodedPoint(const EC_POINT* point);

// Returns the public point of a private scalar.
P256Point publicPoint(const BIGNUM* scalar);

}  // namespace tarvex
