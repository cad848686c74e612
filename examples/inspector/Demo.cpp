#include "Demo.h"

#include "Secrets.h"
#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Services.h"

namespace inspector {
namespace {

using tarvex::KeychainItem;

// A token for three hours, and a moment to look at it.
std::string makeToken() {
  tarvex::Crypto::ECDSA::createKeyPair(demoKey);
  const tarvex::JWT token(
      tarvex::JWTHeader({.type = "JWT", .algo = "ES256"}),
      tarvex::JWTClaims({.sub = "alice",
                         .exp = tarvex::now() + 3 * 3600 + 59,
                         .scopes = tarvex::JWTClaims::Scopes{"read", "write"},
                         .privs = tarvex::JWTClaims::Privileges{{"docs", {"r", "w"}}}}));
  return token.exportBase64url(keyPair(demoKey));
}

}  // namespace

std::string storeExamples() {
  std::string token = makeToken();
  save({.item = KeychainItem::password, .user = "alice", .value = "correct horse"});
  save({.item = KeychainItem::containerKey, .user = "alice", .value = "8dpR3LkTq0yWzV1u"});
  save({.item = KeychainItem::password, .user = "bob", .value = "yellow tulip"});
  save({.item = KeychainItem::accessTokenAPI, .user = "alice", .value = token});
  save({.item = KeychainItem::refreshTokenAPI, .user = "alice", .value = "first of May"});
  return token;
}

}  // namespace inspector
