// P-256 keys in the DER that PEM blocks hold. Internal.
#pragma once

#include <initializer_list>
#include <optional>
#include <vector>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Wiped.h"

namespace tarvex::Crypto {

// What a text says of a key, unchecked and borrowed.
struct KeyParts {
  std::optional<Bytes> scalar = std::nullopt;  // of a private key
  std::vector<Bytes> points = {};              // one of a public key; of a private one any number
};

// Read the forms that a P-256 key comes in: SubjectPublicKeyInfo (RFC 5480), PKCS #8
// (RFC 5958) and ECPrivateKey (RFC 5915). What is not DER, or has something behind it, is
// refused. All throw `KeyFormatError`: `malformed`, `wrongType`, `wrongCurve`.
KeyParts readPublicKeyInfo(Bytes der);
KeyParts readPrivateKeyInfo(Bytes der);
KeyParts readECPrivateKey(Bytes der);

// Return the first form of a public key and the second one of a private key; the keys are in
// their external form.
Data publicKeyInfo(Bytes pubKey);
Wiped<Data> privateKeyInfo(Bytes privKey);

// Returns the pieces one behind the other. They are copied once: no secret is left behind.
Data joined(std::initializer_list<Bytes> pieces);

}  // namespace tarvex::Crypto
