// A program with the library. With a folder, it makes a key, a token and a secret there first.
#include <string>

#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "benchmarks/Start/status.h"

namespace {

using namespace tarvex;

void use(const std::string& folder) {
  installServices(
      {.bundle = {.identifier = "com.example.benchmark",
                  .infoDictionary = {{"TeamIDPrefix", "ABCDE12345."}}},
       .itemService = KeychainStore({.folder = folder, .firstSlot = KeySlot::file}).itemService()});
  Crypto::ECDSA::createKeyPair("benchmark");
  const Crypto::ECDSA pair("benchmark", Crypto::Hash::sha256, Crypto::Curve::p256,
                           kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
  const JWT token(
      JWTHeader({.type = "JWT", .algo = "ES256"}),
      JWTClaims(
          {.sub = "user", .exp = std::nullopt, .scopes = std::nullopt, .privs = std::nullopt}));
  const std::string text = token.exportBase64url(pair);
  (void)JWT::fromBase64url({.base64url = text, .ec = &pair, .verifySignature = true});
  KeychainPersistence::saveToKeychain({.value = text, .user = "user"},
                                      KeychainItem::accessTokenAPI);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) use(argv[1]);
  return printStatus();
}
