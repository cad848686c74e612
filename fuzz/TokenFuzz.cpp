// Any text read as a token, with and without verification. What can be read must be
// written and read again as the same fields.
#include <cmath>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Platform/Services.h"
#include "tests/JWT/Example.h"

namespace tarvex {
namespace {

std::optional<JWT> read(std::string_view text, const Crypto::ECDSA* verifier) {
  try {
    return JWT::fromBase64url(
        {.base64url = text, .ec = verifier, .verifySignature = verifier != nullptr});
  } catch (const JWTError& error) {
    require(error.errorCase() != JWTError::Case::encodeFailed);
    require(error.errorCase() != JWTError::Case::claimsExpired);
    require(verifier != nullptr || error != JWTError::verificationFailed());
  } catch (const DecodingError&) {
  }
  return std::nullopt;
}

// Whether the expiry can be written, and then as what it is written.
bool cutToWholeSeconds(std::optional<Date>& exp) {
  if (!exp) return true;
  const double seconds = exp->timeIntervalSince1970();
  if (!(seconds > -1 && seconds < std::ldexp(1, 64))) return false;
  exp = Date::fromTimeIntervalSince1970(std::trunc(seconds));
  return true;
}

void check(std::string_view text) {
  static const Crypto::ECDSA pair = example::pair();
  static const Crypto::ECDSA verifier = example::publicOnly();
  const auto verified = read(text, &verifier);
  auto token = read(text, nullptr);
  require(!verified || verified == token);
  if (!token || !cutToWholeSeconds(token->claims.exp)) return;
  require(read(token->exportBase64url(pair), &verifier) == token);
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tarvex::installServices({.bundle = {.identifier = "com.example.fuzz"}, .log = [](auto&) {}});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::check(tarvex::Bytes(data, size).text());
  return 0;
}
