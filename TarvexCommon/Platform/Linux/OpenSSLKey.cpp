#include "TarvexCommon/Platform/Linux/OpenSSLKey.h"

#include <string>

namespace tarvex {
namespace {

constexpr std::size_t privateSize = p256PointSize + p256ScalarSize;

OpenSSLKey::Signer newSigner() {
  OpenSSLKey::Signer signer(allocated(EC_KEY_new()));
  completed(EC_KEY_set_group(signer.get(), p256()));
  return signer;
}

// Returns what is wrong with the form of `bytes`, or nothing.
std::string formFault(Bytes bytes, std::string_view kind, std::size_t size) {
  if (bytes.size() != size) {
    return "the " + std::string(kind) + " key has " + std::to_string(bytes.size()) +
           " bytes, not " + std::to_string(size);
  }
  if (bytes[0] != 0x04) return "the key is not an uncompressed point: it does not begin with 04";
  const Bytes x = bytes.subspan(1, p256ScalarSize);
  const Bytes y = bytes.subspan(1 + p256ScalarSize, p256ScalarSize);
  if (!isBelow(x, p256Prime)) return "the x coordinate is not below the field prime of P-256";
  if (!isBelow(y, p256Prime)) return "the y coordinate is not below the field prime of P-256";
  return {};
}

bool belongsTo(const BIGNUM* scalar, const EC_POINT* point) {
  return EC_POINT_cmp(p256(), publicPoint(scalar).get(), point, nullptr) == 0;
}

// Gives the signer the private scalar; returns what is wrong with it, or nothing.
std::string setScalar(EC_KEY* signer, Bytes bytes, const EC_POINT* point) {
  if (isZero(bytes)) return "the private key is zero";
  if (!isBelow(bytes, p256Order)) return "the private key is not below the order of P-256";
  const PrivateScalar scalar = privateScalar(bytes);
  if (!belongsTo(scalar.get(), point)) return "the private key does not match the public key";
  return EC_KEY_set_private_key(signer, scalar.get()) == 1 ? ""
                                                           : "the private key could not be set";
}

SecKeyRef handle(P256Point point, OpenSSLKey::Signer signer) {
  return std::make_shared<const OpenSSLKey>(
      std::make_shared<const VerificationKey>(std::move(point)), std::move(signer));
}

SecKeyResult<SecKeyRef> importKey(Bytes bytes, bool isPrivate) {
  const OpenSSLErrorMark mark;
  std::string fault = isPrivate ? formFault(bytes, "private", privateSize)
                                : formFault(bytes, "public", p256PointSize);
  if (!fault.empty()) return SecKeyFailure{std::move(fault)};
  P256Point point = decodedPoint(bytes.first(p256PointSize));
  if (!point) return SecKeyFailure{"the point is not on the curve P-256"};
  if (!isPrivate) return handle(std::move(point), nullptr);
  OpenSSLKey::Signer signer = newSigner();
  fault = setScalar(signer.get(), bytes.last(p256ScalarSize), point.get());
  if (!fault.empty()) return SecKeyFailure{std::move(fault)};
  return handle(std::move(point), std::move(signer));
}

}  // namespace

SecKeyResult<SecKeyRef> OpenSSLKey::importPublic(Bytes bytes) { return importKey(bytes, false); }

SecKeyResult<SecKeyRef> OpenSSLKey::importPrivate(Bytes bytes) { return importKey(bytes, true); }

SecKeyResult<SecKeyRef> OpenSSLKey::generate() {
  const OpenSSLErrorMark mark;
  Signer signer = newSigner();
  if (EC_KEY_generate_key(signer.get()) != 1) return SecKeyFailure{"no key could be generated"};
  P256Point point(allocated(EC_POINT_dup(EC_KEY_get0_public_key(signer.get()), p256())));
  return handle(std::move(point), std::move(signer));
}

SecKeyRef OpenSSLKey::publicKey() const {
  return std::make_shared<const OpenSSLKey>(verifier_, nullptr);
}

Data OpenSSLKey::externalBytes() const {
  Data bytes = encodedPoint(verifier_->point());
  if (isPrivate()) {
    bytes.resize(privateSize);
    BN_bn2binpad(EC_KEY_get0_private_key(signer()), bytes.data() + p256PointSize,
                 static_cast<int>(p256ScalarSize));
  }
  return bytes;
}

}  // namespace tarvex
