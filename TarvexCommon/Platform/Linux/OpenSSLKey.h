// A P-256 key in OpenSSL's own form: parsed once, used often. Internal.
#pragma once

#include <openssl/ec.h>
#include <openssl/err.h>

#include <array>
#include <cstddef>
#include <memory>

#include "TarvexCommon/Platform/KeyService.h"

namespace tarvex {

template <auto release>
struct OpenSSLRelease {
  template <typename Object>
  void operator()(Object* object) const noexcept {
    release(object);
  }
};

template <typename Object, auto release>
using OpenSSLOwner = std::unique_ptr<Object, OpenSSLRelease<release>>;

// Leaves the thread's error queue as the host had it.
struct OpenSSLErrorMark {
  OpenSSLErrorMark() { ERR_set_mark(); }
  ~OpenSSLErrorMark() { ERR_pop_to_mark(); }
  OpenSSLErrorMark(const OpenSSLErrorMark&) = delete;
  OpenSSLErrorMark& operator=(const OpenSSLErrorMark&) = delete;
};

// A field element or a scalar, big-endian.
inline constexpr std::size_t scalarSize = 32;
using Scalar = std::array<std::uint8_t, scalarSize>;

// The field prime p and the order n of P-256 (FIPS 186-4, D.1.2.3).
extern const Scalar p256Prime;
extern const Scalar p256Order;

// Both are 32 bytes, big-endian.
bool isZero(Bytes scalar);
bool isBelow(Bytes scalar, const Scalar& bound);

struct OpenSSLKey : SecKey {
  // Both imports check all that the bytes claim: the parser underneath takes other
  // forms of a point, and any number as a private one.
  static SecKeyResult<SecKeyRef> importPublic(Bytes bytes);
  static SecKeyResult<SecKeyRef> importPrivate(Bytes bytes);
  static SecKeyResult<SecKeyRef> generate();

  OpenSSLKey(std::shared_ptr<EC_KEY> pair, bool ofPrivateKey)
      : ec(std::move(pair)), isPrivate(ofPrivateKey) {}

  // The same pair, to be used as its public key.
  SecKeyRef publicKey() const;

  // 04, X, Y and, of a private key, K.
  Data externalBytes() const;

  std::shared_ptr<EC_KEY> ec;
  bool isPrivate;
};

}  // namespace tarvex
