// Signed tokens in the compact form (RFC 7515): three base64url segments, header,
// claims and signature, joined by ".", signed with ECDSA P-256 and SHA-256.
//
// The header's values are carried, never set or checked: what decides is the key
// that the caller gives. Reading does not check the expiry; call `validateClaims`.
#pragma once

#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/Crypto/ECDSA.h"
#include "TarvexCommon/JWT/JWTClaims.h"
#include "TarvexCommon/JWT/JWTCodable.h"
#include "TarvexCommon/JWT/JWTError.h"
#include "TarvexCommon/JWT/JWTHeader.h"

namespace tarvex {

struct TARVEX_EXPORT JWT {
  // A token text and how to read it.
  struct Compact {
    Required<std::string_view> base64url;
    Required<const Crypto::ECDSA*> ec;  // the signer's public key; null for none
    Required<bool> verifySignature;
  };

  JWT(JWTHeader tokenHeader, JWTClaims tokenClaims);

  // Reads the nested JSON form, `{"header":{...},"claims":{...}}`.
  explicit JWT(const Decoder& decoder);

  // Reads a token. With `verifySignature` the signature is checked before
  // anything is decoded; without it, neither the key nor a third segment is
  // looked at, and two segments are enough.
  //
  // Throws, in this order: `invalidSegmentCount` unless there are two or three
  // segments; `verificationFailed` when the signature is to be checked and
  // there is no key, no third segment, or no match (the reason is logged where
  // the key gives one); `decodeFailed` when the header or the claims are not
  // base64url; `DecodingError` when they are not the JSON that is expected.
  // Stops the process when a reason is to be logged and the host's bundle has
  // no identifier.
  static JWT fromBase64url(const Compact& token);

  // Returns the token in compact form, signed by `ec`. Throws `EncodingError`,
  // then what `createSignature` throws. Stops the process for an "exp" that no
  // token can carry, see `wholeSecondsSince1970`.
  std::string exportBase64url(const Crypto::ECDSA& ec) const;

  // Throws `claimsExpired` when "exp" is before the present; a token without "exp"
  // never expires. There is no allowance for clocks that differ.
  void validateClaims() const;

  // Writes the nested JSON form.
  void encode(Encoder& encoder) const;

  // Not a token: the base64url text of the nested JSON form. `exportBase64url`
  // makes tokens.
  std::string encode() const;

  friend bool operator==(const JWT&, const JWT&) = default;

  JWTHeader header;
  JWTClaims claims;
};

static_assert(JWTCodable<JWT>);

}  // namespace tarvex
