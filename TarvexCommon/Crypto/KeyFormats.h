// P-256 keys as others write them: PEM (RFC 7468) and JWK (RFC 7517, RFC 7518 section 6.2).
//
//   const auto key = KeyFormats::readKey(contentOfFile);
//   const ECDSA handle({.pubKey = key.pubKey, .privKey = key.privKey});
//   const std::string text = KeyFormats::publicKeyToPEM(key.pubKey);
//
// The bytes of a key that an `ECDSA` holds come from `SecKeyCopyExternalRepresentation`.
//
// Copies of a private key that are made on the way are wiped.
#pragma once

#include <optional>
#include <string>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Crypto/KeyFormatError.h"

// Everything here throws `KeyFormatError`, whose cases are in KeyFormatError.h.
namespace tarvex::Crypto::KeyFormats {

// A key in its external form, as `ECDSA::ExternalKeys` takes it. What is read is always a
// key: a point of the curve, and the private scalar that it belongs to.
struct Key {
  Data pubKey;                                 // 04, X, Y: 65 bytes
  std::optional<Data> privKey = std::nullopt;  // 04, X, Y, K: 97 bytes; none in a public key
};

// Reads whichever of the two a text is: a JWK when it begins with "{", otherwise PEM. White
// space and a byte order mark may stand in front.
TARVEX_EXPORT Key readKey(Bytes text);

// Reads the one block of a PEM text: PUBLIC KEY (RFC 5480), PRIVATE KEY (PKCS #8, RFC 5958)
// or EC PRIVATE KEY (RFC 5915). Other text may stand around it, and a block of EC PARAMETERS.
// Compressed points are taken too, and a private key without its point. A curve that is given
// by its parameters is refused, even P-256. Never asks for a passphrase.
TARVEX_EXPORT Key keyFromPEM(Bytes text);

// Reads a JWK. "x", "y" and "d" are 32 bytes each, no member may stand there twice, and
// members of other names, "use" and "alg" too, are not looked at.
TARVEX_EXPORT Key keyFromJWK(Bytes text);

// Return a PUBLIC KEY or a PRIVATE KEY block, the one that holds both parts. Throw `invalid`
// for other bytes than those of a key in its external form.
TARVEX_EXPORT std::string publicKeyToPEM(Bytes pubKey);
TARVEX_EXPORT std::string privateKeyToPEM(Bytes privKey);

// Return a JWK without white space, its members in lexicographic order. Throw as above.
TARVEX_EXPORT std::string publicKeyToJWK(Bytes pubKey);
TARVEX_EXPORT std::string privateKeyToJWK(Bytes privKey);

// Returns the JWK thumbprint (RFC 7638) with SHA-256, 43 characters of base64url. Throws as
// above.
TARVEX_EXPORT std::string thumbprint(Bytes pubKey);

}  // namespace tarvex::Crypto::KeyFormats
