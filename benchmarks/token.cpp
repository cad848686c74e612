// Tokens, against the signature functions alone and against another JOSE library.
//
//   token.verify/libcrypto       reading with verification against EVP_PKEY_verify of a
//                                digest, its context reused
//   token.export/libcrypto       export against EVP_PKEY_sign of a digest, likewise
//   token.read.unverified/cjose  reading without verification against cjose's import
//                                and the decoding of the claims' JSON by jansson, the
//                                library that cjose itself is built on; with
//                                ".import", without that decoding
//
// A ratio above 1 says that ours is faster.

#include <cjose/cjose.h>
#include <jansson.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Services.h"
#include "benchmarks/Support/Rounds.h"

namespace {

using tarvex::Data;
using tarvex::JWT;
using tarvex::Crypto::ECDSA;

constexpr std::size_t tokenCount = 256;

void check(bool condition) {
  if (!condition) std::abort();
}

JWT token(std::size_t number) {
  return JWT(tarvex::JWTHeader({.type = "JWT", .algo = "ES256"}),
             tarvex::JWTClaims({.sub = "user-" + std::to_string(number),
                                .exp = tarvex::Date::fromTimeIntervalSince1970(1.9e9),
                                .scopes = tarvex::JWTClaims::Scopes{"read", "write"},
                                .privs = tarvex::JWTClaims::Privileges{{"docs", {"r", "w"}}}}));
}

// The same key in libcrypto's own form.
using PKey = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

PKey toPKey(const ECDSA& pair) {
  const Data bytes = tarvex::SecKeyCopyExternalRepresentation(pair.privateKey()).value();
  EC_KEY* key = EC_KEY_new_by_curve_name(NID_X9_62_prime256v1);
  check(EC_KEY_oct2key(key, bytes.data(), 65, nullptr) == 1);
  check(EC_KEY_oct2priv(key, bytes.data() + 65, 32) == 1);
  PKey result(EVP_PKEY_new(), EVP_PKEY_free);
  check(EVP_PKEY_assign_EC_KEY(result.get(), key) == 1);
  return result;
}

struct Digested {
  std::array<unsigned char, 32> digest;
  Data derSig;
};

Digested digested(const std::string& text, EVP_PKEY_CTX* signer) {
  const std::string_view input = std::string_view(text).substr(0, text.rfind('.'));
  Digested result;
  SHA256(reinterpret_cast<const unsigned char*>(input.data()), input.size(), result.digest.data());
  std::size_t size = 80;
  result.derSig.resize(size);
  check(EVP_PKEY_sign(signer, result.derSig.data(), &size, result.digest.data(), 32) == 1);
  result.derSig.resize(size);
  return result;
}

// Returns the number of bytes in the payload.
std::size_t importWithCjose(const std::string& text, bool decodeClaims) {
  cjose_err error;
  cjose_jws_t* jws = cjose_jws_import(text.data(), text.size(), &error);
  uint8_t* plain = nullptr;
  std::size_t size = 0;
  check(cjose_jws_get_plaintext(jws, &plain, &size, &error));
  if (decodeClaims) {
    json_t* claims = json_loadb(reinterpret_cast<const char*>(plain), size, 0, nullptr);
    check(json_is_integer(json_object_get(claims, "exp")));
    json_decref(claims);
  }
  cjose_jws_release(jws);
  return size;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 101;
  tarvex::installServices({.itemService = tarvex::memoryItemService()});

  ECDSA::createKeyPair("benchmark");
  const ECDSA pair("benchmark", tarvex::Crypto::Hash::sha256, tarvex::Crypto::Curve::p256,
                   tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256);
  const PKey pkey = toPKey(pair);
  const Context verifier(EVP_PKEY_CTX_new(pkey.get(), nullptr), EVP_PKEY_CTX_free);
  const Context signer(EVP_PKEY_CTX_new(pkey.get(), nullptr), EVP_PKEY_CTX_free);
  check(EVP_PKEY_verify_init(verifier.get()) == 1 && EVP_PKEY_sign_init(signer.get()) == 1);

  std::vector<JWT> tokens;
  std::vector<std::string> texts;
  std::vector<Digested> digests;
  for (std::size_t i = 0; i < tokenCount; ++i) {
    tokens.push_back(token(i));
    texts.push_back(tokens.back().exportBase64url(pair));
    digests.push_back(digested(texts.back(), signer.get()));
  }

  bench::Rounds measured({
      {"verify",
       [&](std::size_t i) {
         (void)JWT::fromBase64url(
             {.base64url = texts[i % tokenCount], .ec = &pair, .verifySignature = true});
       }},
      {"EVP_PKEY_verify",
       [&](std::size_t i) {
         const Digested& one = digests[i % tokenCount];
         check(EVP_PKEY_verify(verifier.get(), one.derSig.data(), one.derSig.size(),
                               one.digest.data(), 32) == 1);
       }},
      {"export", [&](std::size_t i) { (void)tokens[i % tokenCount].exportBase64url(pair); }},
      {"EVP_PKEY_sign",
       [&](std::size_t i) {
         std::array<unsigned char, 80> signature;
         std::size_t size = signature.size();
         check(EVP_PKEY_sign(signer.get(), signature.data(), &size,
                             digests[i % tokenCount].digest.data(), 32) == 1);
       }},
      {"read",
       [&](std::size_t i) {
         (void)JWT::fromBase64url(
             {.base64url = texts[i % tokenCount], .ec = nullptr, .verifySignature = false});
       }},
      {"cjose", [&](std::size_t i) { importWithCjose(texts[i % tokenCount], true); }},
      {"cjose.import", [&](std::size_t i) { importWithCjose(texts[i % tokenCount], false); }},
  });
  measured.run(rounds, std::chrono::milliseconds(15));

  measured.reportRatio("token.verify/libcrypto", "verify", "EVP_PKEY_verify");
  measured.reportRatio("token.export/libcrypto", "export", "EVP_PKEY_sign");
  measured.reportRatio("token.read.unverified/cjose", "read", "cjose");
  measured.reportRatio("token.read.unverified/cjose.import", "read", "cjose.import");
  for (const char* name :
       {"verify", "EVP_PKEY_verify", "export", "EVP_PKEY_sign", "read", "cjose"}) {
    measured.reportTime(name, name);
  }
}
