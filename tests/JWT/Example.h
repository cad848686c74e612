// A record, and the token that the example key signs of it.
#pragma once

#include <string>

#include "TarvexCommon/JWT/JWT.h"
#include "tests/Support/ExampleKey.h"

namespace tarvex::example {

inline JWT record(std::string sub = "alice") {
  return JWT(JWTHeader({.type = "JWT", .algo = "ES256"}),
             JWTClaims({.sub = std::move(sub),
                        .exp = Date::fromTimeIntervalSince1970(1900000000),
                        .scopes = JWTClaims::Scopes{"read", "write"},
                        .privs = JWTClaims::Privileges{{"docs", {"r", "w"}}}}));
}

// The record as a token. The signature is python-cryptography's, as RFC 6979 makes it.
inline const std::string head = "eyJ0eXAiOiJKV1QiLCJhbGciOiJFUzI1NiJ9";
inline const std::string body =
    "eyJzdWIiOiJhbGljZSIsImV4cCI6MTkwMDAwMDAwMCwic2NwIjpbInJlYWQiLCJ3cml0ZSJdLCJwcnZzIjp7ImRvY3Mi"
    "OlsiciIsInciXX19";
inline const std::string signature =
    "pkwFlbl5joH0zrVyHrOs7knUv1hFBQxLtbK-00EtgIENIf-fk5LQhc7VhUQdg2Fd3v3wWRwvh4TLl3P-A6r8vw";
inline const std::string token = head + '.' + body + '.' + signature;

}  // namespace tarvex::example
