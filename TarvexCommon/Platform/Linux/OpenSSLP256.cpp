#include <openssl/obj_mac.h>

#include <new>

#include "TarvexCommon/Platform/Linux/OpenSSLKey.h"
#include "TarvexCommon/Platform/P256.h"

namespace tarvex {
namespace {

using Group = OpenSSLOwner<EC_GROUP, EC_GROUP_free>;
using Point = OpenSSLOwner<EC_POINT, EC_POINT_free>;
using Number = OpenSSLOwner<BIGNUM, BN_clear_free>;

constexpr std::size_t compressedSize = 1 + p256ScalarSize;
static_assert(p256ScalarSize == scalarSize);

// Of the forms that OpenSSL reads, infinity and the hybrid one are left out.
bool isFullOrCompressed(Bytes encoded) {
  if (encoded.size() == p256PointSize) return encoded[0] == 0x04;
  return encoded.size() == compressedSize;
}

// A point of P-256 that is calculated in one step.
class Calculation {
 public:
  Calculation()
      : group_(EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1)),
        point_(group_ ? EC_POINT_new(group_.get()) : nullptr) {
    if (!point_) throw std::bad_alloc();
  }

  bool decode(Bytes encoded) {
    return EC_POINT_oct2point(group_.get(), point_.get(), encoded.data(), encoded.size(),
                              nullptr) == 1;
  }

  bool multiplyGenerator(const BIGNUM* number) {
    return EC_POINT_mul(group_.get(), point_.get(), number, nullptr, nullptr, nullptr) == 1;
  }

  Data result() const {
    Data bytes(p256PointSize);
    EC_POINT_point2oct(group_.get(), point_.get(), POINT_CONVERSION_UNCOMPRESSED, bytes.data(),
                       bytes.size(), nullptr);
    return bytes;
  }

 private:
  OpenSSLErrorMark mark_;
  Group group_;
  Point point_;
};

}  // namespace

std::optional<Data> p256Point(Bytes encoded) {
  if (!isFullOrCompressed(encoded)) return std::nullopt;
  Calculation point;
  if (!point.decode(encoded)) return std::nullopt;
  return point.result();
}

std::optional<Data> p256PublicPoint(Bytes scalar) {
  if (isZero(scalar) || !isBelow(scalar, p256Order)) return std::nullopt;
  const Number number(BN_bin2bn(scalar.data(), static_cast<int>(scalar.size()), nullptr));
  Calculation point;
  if (!number || !point.multiplyGenerator(number.get())) throw std::bad_alloc();
  return point.result();
}

}  // namespace tarvex
