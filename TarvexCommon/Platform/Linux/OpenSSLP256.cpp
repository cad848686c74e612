#include "TarvexCommon/Platform/Linux/OpenSSLP256.h"

#include <openssl/obj_mac.h>

#include <algorithm>

namespace tarvex {
namespace {

constexpr std::size_t compressedSize = 1 + p256ScalarSize;

// Of the forms that OpenSSL reads, infinity and the hybrid one are left out.
bool isFullOrCompressed(Bytes encoded) {
  if (encoded.size() == p256PointSize) return encoded[0] == 0x04;
  return encoded.size() == compressedSize;
}

}  // namespace

bool isZero(Bytes scalar) {
  return std::all_of(scalar.begin(), scalar.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool isBelow(Bytes scalar, const Scalar& bound) {
  return std::lexicographical_compare(scalar.begin(), scalar.end(), bound.begin(), bound.end());
}

const EC_GROUP* p256() {
  static const EC_GROUP* const group = allocated(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1));
  return group;
}

P256Point newPoint() { return P256Point(allocated(EC_POINT_new(p256()))); }

PrivateScalar privateScalar(Bytes scalar) {
  return PrivateScalar(
      allocated(BN_bin2bn(scalar.data(), static_cast<int>(scalar.size()), nullptr)));
}

Scalar toScalar(const BIGNUM* number) {
  Scalar bytes;
  BN_bn2binpad(number, bytes.data(), static_cast<int>(bytes.size()));
  return bytes;
}

P256Point decodedPoint(Bytes encoded) {
  P256Point point = newPoint();
  const OpenSSLErrorMark mark;
  const bool isPoint =
      EC_POINT_oct2point(p256(), point.get(), encoded.data(), encoded.size(), nullptr) == 1;
  completed(isPoint || ERR_GET_REASON(ERR_peek_last_error()) != ERR_R_MALLOC_FAILURE);
  return isPoint ? std::move(point) : nullptr;
}

Data encodedPoint(const EC_POINT* point) {
  Data bytes(p256PointSize);
  completed(EC_POINT_point2oct(p256(), point, POINT_CONVERSION_UNCOMPRESSED, bytes.data(),
                               bytes.size(), nullptr) == bytes.size());
  return bytes;
}

P256Point publicPoint(const BIGNUM* scalar) {
  P256Point point = newPoint();
  completed(EC_POINT_mul(p256(), point.get(), scalar, nullptr, nullptr, nullptr));
  return point;
}

std::optional<Data> p256Point(Bytes encoded) {
  if (!isFullOrCompressed(encoded)) return std::nullopt;
  const P256Point point = decodedPoint(encoded);
  if (!point) return std::nullopt;
  return encodedPoint(point.get());
}

std::optional<Data> p256PublicPoint(Bytes scalar) {
  if (isZero(scalar) || !isBelow(scalar, p256Order)) return std::nullopt;
  return encodedPoint(publicPoint(privateScalar(scalar).get()).get());
}

}  // namespace tarvex
