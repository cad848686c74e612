// A P-256 key in OpenSSL's own form: parsed once, used often. Internal.
#pragma once

#include <openssl/ec.h>

#include <memory>

#include "TarvexCommon/Platform/KeyService.h"
#include "TarvexCommon/Platform/Linux/OpenSSLVerification.h"

namespace tarvex {

class OpenSSLKey : public SecKey {
 public:
  // Both imports check all that the bytes claim: the parser underneath takes other
  // forms of a point, and any number as a private one.
  static SecKeyResult<SecKeyRef> importPublic(Bytes bytes);
  static SecKeyResult<SecKeyRef> importPrivate(Bytes bytes);
  static SecKeyResult<SecKeyRef> generate();

  using Signer = OpenSSLOwner<EC_KEY, EC_KEY_free>;

  // A public key where there is no signer.
  OpenSSLKey(std::shared_ptr<const VerificationKey> verifier, Signer signer)
      : verifier_(std::move(verifier)), signer_(std::move(signer)) {}

  bool isPrivate() const { return signer_ != nullptr; }

  // Null in a public key.
  EC_KEY* signer() const { return signer_.get(); }

  // `signature` is in range.
  bool verifies(const SignatureNumbers& signature, const Scalar& digest) const {
    return verifier_->verifies(signature, digest);
  }

  // The same pair, to be used as its public key.
  SecKeyRef publicKey() const;

  // 04, X, Y and, of a private key, K.
  Data externalBytes() const;

 private:
  std::shared_ptr<const VerificationKey> verifier_;
  Signer signer_;
};

}  // namespace tarvex
