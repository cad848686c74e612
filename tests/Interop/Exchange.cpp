// Our side of the exchange of tokens with another implementation; see exchange.mjs.
//
//   Exchange make FOLDER   writes tarvex.key and tarvex.tokens
//   Exchange read FOLDER   reads jose.key and jose.tokens

#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Memory/RecordingLog.h"
#include "TarvexCommon/Platform/Services.h"
#include "tests/Support/ExampleKey.h"

namespace tarvex {
namespace {

using Crypto::ECDSA;

// A public key as the world exchanges it (RFC 7517).
using JWK = std::map<std::string, std::string>;

JWK jwkOf(const ECDSA& key) {
  const auto [x, y] = key.coordinates();
  return {{"kty", "EC"},
          {"crv", "P-256"},
          {"x", Encoding::base64ToB64url(x)},
          {"y", Encoding::base64ToB64url(y)}};
}

ECDSA keyOf(const JWK& jwk) {
  return ECDSA(
      {.x = Encoding::b64urlToBase64(jwk.at("x")), .y = Encoding::b64urlToBase64(jwk.at("y"))});
}

JWT recordOf(int line) {
  const std::string number = std::to_string(line);
  JWT record(JWTHeader({.type = "JWT", .algo = "ES256"}),
             JWTClaims({.sub = "Zoë " + number + " 東京 \U0001F511 \"\\/\n\x01",
                        .exp = Date::fromTimeIntervalSince1970(4000000000 + line % 4 / 4.0 + line),
                        .scopes = std::nullopt,
                        .privs = std::nullopt}));
  if (line % 3 != 0) record.claims.scopes = {"read", "write/" + number, ""};
  if (line % 4 != 0) record.claims.privs = {{"docs", {"r", "w"}}, {"ключ", {}}};
  return record;
}

// So many that r, and s, begins with a zero byte in some of them; jose's side looks.
constexpr int tokenCount = 4000;

void make(const std::string& folder) {
  ECDSA::createKeyPair("exchange");
  const ECDSA pair = example::loaded("exchange");
  std::ofstream(folder + "/tarvex.key") << JSONEncoder().encode(jwkOf(pair));
  std::ofstream tokens(folder + "/tarvex.tokens");
  for (int line = 0; line < tokenCount; ++line) {
    tokens << recordOf(line).exportBase64url(pair) << '\n';
  }
}

JWT readToken(const std::string& token, const ECDSA& key) {
  return JWT::fromBase64url({.base64url = token, .ec = &key, .verifySignature = true});
}

void read(const std::string& folder) {
  std::ifstream file(folder + "/jose.key");
  const std::string json{std::istreambuf_iterator<char>(file), {}};
  const ECDSA key = keyOf(JSONDecoder().decode<JWK>(json));
  std::ifstream tokens(folder + "/jose.tokens");
  int line = 0;
  for (std::string token; std::getline(tokens, token); ++line) {
    require(readToken(token, key) == recordOf(line));
  }
  require(line >= 1000);
}

}  // namespace
}  // namespace tarvex

int main(int argc, char** argv) {
  using namespace tarvex;
  require(argc == 3);
  installServices({.bundle = {.identifier = "com.example.exchange"},
                   .log = RecordingLog().sink(),
                   .itemService = memoryItemService()});
  const std::map<std::string, void (*)(const std::string&)> commands = {{"make", make},
                                                                        {"read", read}};
  commands.at(argv[1])(argv[2]);
}
