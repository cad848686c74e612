// The claims of a token.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/JWT/JWTCodable.h"

namespace tarvex {

// What the token says of its subject. An absent claim is left out of the JSON,
// one that is missing or null is read as absent. Other claims ("iss", "aud",
// ...) are neither read nor written.
//
//   JWTClaims({.sub = "alice", .exp = now() + 3600,
//              .scopes = JWTClaims::Scopes{"read"}, .privs = std::nullopt})
//
//   member  JSON
//   sub     "sub", a text: the subject
//   exp     "exp", a number of seconds since 1970: the expiry; written whole
//   scopes  "scp", an array of texts
//   privs   "prvs", an object with arrays of texts
struct TARVEX_EXPORT JWTClaims {
  using Scopes = std::vector<std::string>;
  using Privileges = std::map<std::string, std::vector<std::string>>;

  // Each claim is given or said to be absent: a token without "exp" never expires.
  struct Members {
    Required<std::optional<std::string>> sub;
    Required<std::optional<Date>> exp;
    Required<std::optional<Scopes>> scopes;
    Required<std::optional<Privileges>> privs;
  };

  explicit JWTClaims(Members members);
  explicit JWTClaims(const Decoder& decoder);

  void encode(Encoder& encoder) const;

  // Returns the token segment. Stops the process for an `exp` that no token can
  // carry, see `wholeSecondsSince1970`.
  std::string encode() const;

  friend bool operator==(const JWTClaims&, const JWTClaims&) = default;

  std::optional<std::string> sub;
  std::optional<Date> exp;
  std::optional<Scopes> scopes;
  std::optional<Privileges> privs;
};

static_assert(JWTCodable<JWTClaims>);

}  // namespace tarvex
