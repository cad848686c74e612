// A key pair is made, a token is signed with it, and somebody who has only the public key
// reads, verifies and checks that token. Then what goes wrong when it should, and a token
// that somebody else made.

#include <stdexcept>
#include <string>
#include <string_view>

#include "Road.h"
#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/Platform/Services.h"

namespace road {
namespace {

using tarvex::JWT;
using tarvex::JWTError;
using tarvex::Crypto::ECDSA;

// What a server would publish: the coordinates of its public key.
ECDSA publicOnly(const ECDSA& pair) {
  const auto [x, y] = pair.coordinates();
  say("  x = " + x + "\n  y = " + y);
  return ECDSA({.x = x, .y = y});
}

JWT makeToken(tarvex::Date expiry) {
  return JWT(tarvex::JWTHeader({.type = "JWT", .algo = "ES256"}),
             tarvex::JWTClaims({.sub = "alice",
                                .exp = expiry,
                                .scopes = tarvex::JWTClaims::Scopes{"read", "write"},
                                .privs = tarvex::JWTClaims::Privileges{{"docs", {"r", "w"}}}}));
}

void showClaims(const tarvex::JWTClaims& claims) {
  const std::string json = tarvex::segmentEncoder().encode(claims);
  say("  claims: " + json);
}

// Shows that `action` fails as it should.
template <typename Action>
void expectError(std::string_view what, const JWTError& expected, Action action) {
  try {
    action();
  } catch (const JWTError& error) {
    expect(error == expected, "another error than expected");
    say("  " + std::string(what) + ": refused, \"" + error.errorDescription() + "\"");
    return;
  }
  throw std::runtime_error("nothing was refused");
}

void showRefusals(const std::string& text, const ECDSA& pair, const ECDSA& server) {
  std::string changed = text;
  char& letter = changed[text.find('.') + 1];
  letter = letter == 'e' ? 'f' : 'e';
  expectError("one character of the claims changed", JWTError::verificationFailed(),
              [&] { readVerified(changed, server); });

  ECDSA::createKeyPair("somebody else");
  expectError("checked with another key", JWTError::verificationFailed(),
              [&] { readVerified(text, load("somebody else")); });

  const std::string old = makeToken(tarvex::now() - 60).exportBase64url(pair);
  expectError("a token that expired a minute ago", JWTError::claimsExpired(),
              [&] { readVerified(old, server).validateClaims(); });

  const std::string twoSegments = text.substr(0, text.rfind('.'));
  expectError("the same token without its signature", JWTError::verificationFailed(),
              [&] { readVerified(twoSegments, server); });
  const JWT unverified =
      JWT::fromBase64url({.base64url = twoSegments, .ec = nullptr, .verifySignature = false});
  say("  read without verification it still says who it claims to be for: " +
      unverified.claims.sub.value());
}

// RFC 7515, appendix A.3: key, token and signature as printed there.
constexpr std::string_view foreignX = "f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU";
constexpr std::string_view foreignY = "x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0";
constexpr std::string_view foreignHeader = "eyJhbGciOiJFUzI1NiJ9";
constexpr std::string_view foreignClaims =
    "eyJpc3MiOiJqb2UiLA0KICJleHAiOjEzMDA4MTkzODAsDQogImh0dHA6Ly9leGFt"
    "cGxlLmNvbS9pc19yb290Ijp0cnVlfQ";
constexpr std::string_view foreignSignature =
    "DtEhU3ljbEg8L38VWAfUAqOyKAM6-Xx-F4GawxaepmXFCgfTjDxw5djxLa8ISlSA"
    "pmWQxfKTUJqPP3-Kg6NU1Q";

tarvex::Data decoded(std::string_view segment) {
  return tarvex::fromBase64(tarvex::Encoding::b64urlToBase64(segment)).value();
}

// Our tokens have a "typ" in their header, and this one has none: it can be
// verified and its claims can be read, but not as one of ours.
void readForeignHeader(const std::string& text, const ECDSA& key) {
  try {
    readVerified(text, key);
  } catch (const tarvex::DecodingError& error) {
    expect(error.kind() == tarvex::DecodingError::Kind::keyNotFound, "another decoding error");
    say("  read as a token of ours it passes the verification and is refused "
        "for its header:\n    " +
        error.debugDescription());
    return;
  }
  throw std::runtime_error("a header without \"typ\" was read");
}

}  // namespace

ECDSA load(std::string_view label) {
  return ECDSA(label, tarvex::Crypto::Hash::sha256, tarvex::Crypto::Curve::p256,
               tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
}

JWT readVerified(std::string_view text, const ECDSA& key) {
  return JWT::fromBase64url({.base64url = text, .ec = &key, .verifySignature = true});
}

std::string makeAndCheckToken() {
  step("1. A key pair is made under the label \"demo\", and loaded again by that label.");
  ECDSA::createKeyPair("demo");
  const ECDSA pair = load("demo");

  step("2. A token with all four claims is signed with it.");
  const JWT token = makeToken(tarvex::now() + 3600);
  std::string text = token.exportBase64url(pair);
  say("  " + text);

  step("3. Somebody who has only the public key reads the token, verified, and checks its expiry.");
  const ECDSA server = publicOnly(pair);
  const JWT read = readVerified(text, server);
  read.validateClaims();
  showClaims(read.claims);
  expect(read.header == token.header && read.claims.privs == token.claims.privs, "claims differ");

  step("4. What must not pass does not.");
  showRefusals(text, pair, server);
  return text;
}

void readForeignToken() {
  step("5. The ES256 example of RFC 7515, appendix A.3, a token that nobody here made.");
  const std::string x = tarvex::Encoding::b64urlToBase64(foreignX);
  const std::string y = tarvex::Encoding::b64urlToBase64(foreignY);
  const ECDSA key({.x = x, .y = y});
  const std::string input = std::string(foreignHeader) + '.' + std::string(foreignClaims);
  const std::string text = input + '.' + std::string(foreignSignature);

  const tarvex::Data signature = decoded(foreignSignature);
  expect(key.verifySignature({.msg = input, .signature = signature}), "it does not match");
  say("  its signature is its key's");
  const tarvex::JSONDecoder decoder{.dateDecodingStrategy =
                                        tarvex::DateDecodingStrategy::secondsSince1970()};
  showClaims(decoder.decode<tarvex::JWTClaims>(decoded(foreignClaims)));
  readForeignHeader(text, key);
  const std::string changed = 'f' + text.substr(1);
  expectError("one character of it changed", JWTError::verificationFailed(),
              [&] { readVerified(changed, key); });
}

}  // namespace road
