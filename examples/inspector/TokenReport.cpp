#include "TokenReport.h"

#include <sstream>
#include <utility>

#include "ExpiryInWords.h"
#include "IndentedJSON.h"
#include "Secrets.h"
#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Formatter.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/Platform/Services.h"

namespace inspector {
namespace {

using State = TokenReport::State;
using tarvex::JWT;
using tarvex::Crypto::ECDSA;

std::optional<tarvex::Data> decoded(std::string_view base64url) {
  return tarvex::fromBase64(tarvex::Encoding::b64urlToBase64(base64url));
}

ECDSA publicKey(const std::string& text) {
  tarvex::Data bytes;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const auto more = decoded(word);
    if (!more) throw tarvex::CryptoError::secInternalError("the public key is not base64");
    bytes.insert(bytes.end(), more->begin(), more->end());
  }
  if (bytes.size() == 64) bytes.insert(bytes.begin(), 0x04);
  return ECDSA({.pubKey = bytes});
}

ECDSA load(const KeyChoice& choice) {
  if (choice.kind == KeyChoice::Kind::publicKey) return publicKey(choice.text);
  return keyPair(choice.text);
}

std::string described(const tarvex::DecodingError& error) {
  std::string text = error.debugDescription();
  for (const std::string& step : error.codingPath()) text += " / " + step;
  return text;
}

// Returns why `operation` fails, for users; empty when it does not.
template <typename Operation>
std::string failureOf(const Operation& operation) {
  try {
    operation();
  } catch (const tarvex::JWTError& error) {
    return error.errorDescription();
  } catch (const tarvex::CryptoError& error) {
    return error.errorDescription();
  } catch (const tarvex::DecodingError& error) {
    return described(error);
  }
  return {};
}

JWT read(std::string_view text, const ECDSA* key) {
  return JWT::fromBase64url({.base64url = text, .ec = key, .verifySignature = key != nullptr});
}

// Decodes from every JSON text.
struct AnyJSON {
  explicit AnyJSON(const tarvex::Decoder&) {}
};

// Empty for what is not JSON in base64url.
std::string shownSegment(std::string_view segment) {
  const auto json = decoded(segment);
  if (!json) return {};
  const std::string failure = failureOf([&] { tarvex::JSONDecoder().decode<AnyJSON>(*json); });
  return failure.empty() ? indented(tarvex::Bytes(*json).text()) : "";
}

// Takes the text up to the next "." off the front.
std::string_view takeSegment(std::string_view& text) {
  const std::string_view segment = text.substr(0, text.find('.'));
  text.remove_prefix(std::min(segment.size() + 1, text.size()));
  return segment;
}

TokenReport unverified(std::string_view text) {
  TokenReport report;
  std::string_view rest = text;
  report.header = shownSegment(takeSegment(rest));
  report.claims = shownSegment(takeSegment(rest));
  report.reason = failureOf([&] { report.token = read(text, nullptr); });
  report.state = report.token ? State::unverified : State::unreadable;
  return report;
}

}  // namespace

TokenReport inspect(std::string_view text, const KeyChoice& choice) {
  if (text.empty()) return {};
  if (text.size() > longestToken)
    return {.state = State::unreadable,
            .reason = "it is longer than " + std::to_string(longestToken) + " characters"};
  TokenReport report = unverified(text);
  if (!report.token || choice.kind == KeyChoice::Kind::none) return report;
  report.state = State::refused;
  report.reason = failureOf([&] {
    const ECDSA key = load(choice);
    report.token = read(text, &key);
    report.state = State::verified;
  });
  return report;
}

Verdict verdict(const TokenReport& report) {
  using Kind = Verdict::Kind;
  switch (report.state) {
    case State::noToken: return {Kind::none, "No token", "Paste one above."};
    case State::unreadable: return {Kind::bad, "Unreadable", report.reason};
    case State::unverified:
      return {Kind::doubtful, "Unverified",
              "No key is chosen: anybody could have written this token."};
    case State::refused: return {Kind::bad, "Not verified", report.reason};
    case State::verified: break;
  }
  const std::string expired = failureOf([&] { report.token->validateClaims(); });
  if (expired.empty()) return {Kind::good, "Verified", "The signature is this key's."};
  return {Kind::bad, "Expired", "The signature is this key's, but " + expired + '.'};
}

std::string expiry(const TokenReport& report) {
  if (!report.token) return {};
  const std::optional<tarvex::Date>& exp = report.token->claims.exp;
  const std::string words = expiryInWords(exp, tarvex::now());
  return exp ? tarvex::ISO8601DateFormatter().string(*exp) + ", " + words : words;
}

}  // namespace inspector
