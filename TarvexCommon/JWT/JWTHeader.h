// The header of a token.
#pragma once

#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/JWT/JWTCodable.h"

namespace tarvex {

// What the token says of itself. Nothing in the library fills in, checks or acts
// upon either value.
//
//   JWTHeader({.type = "JWT", .algo = "ES256"})
//
//   member  JSON
//   type    "typ", a text, required
//   algo    "alg", a text, required
struct TARVEX_EXPORT JWTHeader {
  struct Members {
    Required<std::string> type;
    Required<std::string> algo;
  };

  explicit JWTHeader(Members members);
  explicit JWTHeader(const Decoder& decoder);

  void encode(Encoder& encoder) const;

  // Returns the token segment.
  std::string encode() const;

  friend bool operator==(const JWTHeader&, const JWTHeader&) = default;

  std::string type;
  std::string algo;
};

static_assert(JWTCodable<JWTHeader>);

}  // namespace tarvex
