// Makes, signs and verifies a token, and encodes a record of its own.

#include <TarvexCommon/JWT/JWT.h>
#include <TarvexCommon/Platform/Memory/MemoryItemService.h>
#include <TarvexCommon/Platform/Services.h>

#include <cstdio>
#include <string>

using tarvex::JWT;
using tarvex::Crypto::ECDSA;

namespace {

struct Device {
  std::string name;

  explicit Device(std::string deviceName) : name(std::move(deviceName)) {}
  explicit Device(const tarvex::Decoder& decoder)
      : name(decoder.container().decode<std::string>("name")) {}
  void encode(tarvex::Encoder& encoder) const { encoder.container().encode("name", name); }
  std::string encode() const { return tarvex::encodeSegment(*this); }
};
static_assert(tarvex::JWTCodable<Device>);

JWT goRound(const JWT& token) {
  ECDSA::createKeyPair("consumer");
  const ECDSA pair("consumer", tarvex::Crypto::Hash::sha256, tarvex::Crypto::Curve::p256,
                   tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
  const std::string text = token.exportBase64url(pair);
  return JWT::fromBase64url({.base64url = text, .ec = &pair, .verifySignature = true});
}

}  // namespace

int main() {
  tarvex::installServices({.bundle = {.identifier = "com.example.consumer"},
                           .itemService = tarvex::memoryItemService()});
  const JWT token(
      tarvex::JWTHeader({.type = "JWT", .algo = "ES256"}),
      tarvex::JWTClaims(
          {.sub = "alice", .exp = std::nullopt, .scopes = std::nullopt, .privs = std::nullopt}));
  const bool isGood = goRound(token) == token && Device("d").encode() == "eyJuYW1lIjoiZCJ9";
  if (!isGood) std::fputs("token or record is not as it should be\n", stderr);
  return isGood ? 0 : 1;
}
