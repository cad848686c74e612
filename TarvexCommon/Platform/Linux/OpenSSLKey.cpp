#include "TarvexCommon/Platform/Linux/OpenSSLKey.h"

#include <openssl/obj_mac.h>

#include <algorithm>
#include <string>

namespace tarvex {

const Scalar p256Prime = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF,
                          0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const Scalar p256Order = {0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0xFF, 0xFF, 0xFF,
                          0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xBC, 0xE6, 0xFA, 0xAD, 0xA7, 0x17,
                          0x9E, 0x84, 0xF3, 0xB9, 0xCA, 0xC2, 0xFC, 0x63, 0x25, 0x51};

bool isZero(Bytes scalar) {
  return std::all_of(scalar.begin(), scalar.end(), [](std::uint8_t byte) { return byte == 0; });
}

bool isBelow(Bytes scalar, const Scalar& bound) {
  return std::lexicographical_compare(scalar.begin(), scalar.end(), bound.begin(), bound.end());
}

namespace {

constexpr std::size_t publicSize = 1 + 2 * scalarSize;
constexpr std::size_t privateSize = publicSize + scalarSize;

using Point = OpenSSLOwner<EC_POINT, EC_POINT_free>;
using Number = OpenSSLOwner<BIGNUM, BN_clear_free>;
using Key = std::shared_ptr<EC_KEY>;

const EC_GROUP* p256() {
  static const EC_GROUP* const group = EC_GROUP_new_by_curve_name(NID_X9_62_prime256v1);
  return group;
}

Key newKey() {
  Key key(EC_KEY_new(), EC_KEY_free);
  if (!key || EC_KEY_set_group(key.get(), p256()) != 1) throw std::bad_alloc();
  return key;
}

// Returns what is wrong with the form of `bytes`, or nothing.
std::string formFault(Bytes bytes, std::string_view kind, std::size_t size) {
  if (bytes.size() != size) {
    return "the " + std::string(kind) + " key has " + std::to_string(bytes.size()) +
           " bytes, not " + std::to_string(size);
  }
  if (bytes[0] != 0x04) return "the key is not an uncompressed point: it does not begin with 04";
  const Bytes x = bytes.subspan(1, scalarSize);
  const Bytes y = bytes.subspan(1 + scalarSize, scalarSize);
  if (!isBelow(x, p256Prime)) return "the x coordinate is not below the field prime of P-256";
  if (!isBelow(y, p256Prime)) return "the y coordinate is not below the field prime of P-256";
  return {};
}

// Makes `point` the public key; returns what is wrong with it, or nothing.
std::string setPoint(EC_KEY* key, Bytes point) {
  const Point parsed(EC_POINT_new(p256()));
  if (!parsed) throw std::bad_alloc();
  if (EC_POINT_oct2point(p256(), parsed.get(), point.data(), point.size(), nullptr) != 1) {
    return "the point is not on the curve P-256";
  }
  return EC_KEY_set_public_key(key, parsed.get()) == 1 ? "" : "the public key could not be set";
}

bool belongsTo(const BIGNUM* scalar, const EC_POINT* point) {
  const Point product(EC_POINT_new(p256()));
  return product && EC_POINT_mul(p256(), product.get(), scalar, nullptr, nullptr, nullptr) == 1 &&
         EC_POINT_cmp(p256(), product.get(), point, nullptr) == 0;
}

// Makes `scalar` the private key; returns what is wrong with it, or nothing.
std::string setScalar(EC_KEY* key, Bytes scalar) {
  if (isZero(scalar)) return "the private key is zero";
  if (!isBelow(scalar, p256Order)) return "the private key is not below the order of P-256";
  const Number number(BN_bin2bn(scalar.data(), static_cast<int>(scalar.size()), nullptr));
  if (!number) throw std::bad_alloc();
  if (!belongsTo(number.get(), EC_KEY_get0_public_key(key))) {
    return "the private key does not match the public key";
  }
  return EC_KEY_set_private_key(key, number.get()) == 1 ? "" : "the private key could not be set";
}

SecKeyRef handle(Key key, bool isPrivate) {
  return std::make_shared<const OpenSSLKey>(std::move(key), isPrivate);
}

SecKeyResult<SecKeyRef> importKey(Bytes bytes, bool isPrivate) {
  const OpenSSLErrorMark mark;
  std::string fault =
      isPrivate ? formFault(bytes, "private", privateSize) : formFault(bytes, "public", publicSize);
  if (!fault.empty()) return SecKeyFailure{std::move(fault)};
  Key key = newKey();
  fault = setPoint(key.get(), bytes.first(publicSize));
  if (fault.empty() && isPrivate) fault = setScalar(key.get(), bytes.last(scalarSize));
  if (!fault.empty()) return SecKeyFailure{std::move(fault)};
  return handle(std::move(key), isPrivate);
}

}  // namespace

SecKeyResult<SecKeyRef> OpenSSLKey::importPublic(Bytes bytes) { return importKey(bytes, false); }

SecKeyResult<SecKeyRef> OpenSSLKey::importPrivate(Bytes bytes) { return importKey(bytes, true); }

SecKeyResult<SecKeyRef> OpenSSLKey::generate() {
  const OpenSSLErrorMark mark;
  Key key = newKey();
  if (EC_KEY_generate_key(key.get()) != 1) return SecKeyFailure{"no key could be generated"};
  return handle(std::move(key), true);
}

SecKeyRef OpenSSLKey::publicKey() const { return handle(ec, false); }

Data OpenSSLKey::externalBytes() const {
  Data bytes(isPrivate ? privateSize : publicSize);
  EC_POINT_point2oct(p256(), EC_KEY_get0_public_key(ec.get()), POINT_CONVERSION_UNCOMPRESSED,
                     bytes.data(), publicSize, nullptr);
  if (isPrivate) {
    BN_bn2binpad(EC_KEY_get0_private_key(ec.get()), bytes.data() + publicSize,
                 static_cast<int>(scalarSize));
  }
  return bytes;
}

}  // namespace tarvex
