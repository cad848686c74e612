// Tokens of a usual shape, all different, and the pair of keys that has signed them.
#pragma once

#include <string>
#include <vector>

#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Services.h"

namespace bench {

constexpr std::size_t tokenCount = 256;

// The pair is kept in memory, by the services that are in use from then on.
struct Tokens {
  Tokens() : pair(newPair()) {
    for (std::size_t i = 0; i < tokenCount; ++i) {
      tokens.push_back(token(i));
      texts.push_back(tokens.back().exportBase64url(pair));
    }
  }

  const tarvex::Crypto::ECDSA pair;
  std::vector<tarvex::JWT> tokens;
  std::vector<std::string> texts;

 private:
  static tarvex::Crypto::ECDSA newPair() {
    using namespace tarvex::Crypto;
    tarvex::installServices({.itemService = tarvex::memoryItemService()});
    ECDSA::createKeyPair("benchmark");
    return {"benchmark", Hash::sha256, Curve::p256,
            tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256};
  }

  static tarvex::JWT token(std::size_t number) {
    return {tarvex::JWTHeader({.type = "JWT", .algo = "ES256"}),
            tarvex::JWTClaims({.sub = "user-" + std::to_string(number),
                               .exp = tarvex::Date::fromTimeIntervalSince1970(1.9e9),
                               .scopes = tarvex::JWTClaims::Scopes{"read", "write"},
                               .privs = tarvex::JWTClaims::Privileges{{"docs", {"r", "w"}}}})};
  }
};

}  // namespace bench
