// Tokens, against the signature functions alone and against another JOSE library.
//
//   token.verify.hot/libcrypto   reading with verification against EVP_PKEY_verify of a
//                                digest, its context reused; by a key that is used often,
//                                ".cold" by one that is not
//   verify.two-threads/one-thread  how many times more signatures two threads verify
//                                than one in the same time, with one key; "machine."
//                                is the same of loops that have nothing in common
//   key.import.public.per-second   keys from 65 bytes
//   token.export/libcrypto       export against EVP_PKEY_sign of a digest, likewise
//   token.read.unverified/cjose  reading without verification against cjose's import
//                                and the decoding of the claims' JSON by jansson, the
//                                library that cjose itself is built on; with
//                                ".import", without that decoding
//   hash.1KiB/libcrypto          a digest against one by EVP_DigestUpdate, algorithm and
//                                context reused
//
// A ratio above 1 says that ours is faster.

#include <cjose/cjose.h>
#include <jansson.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/sha.h>
#include <openssl/x509.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Common/Encoding.h"
#include "TarvexCommon/Crypto/Digest.h"
#include "TarvexCommon/JWT/JWT.h"
#include "benchmarks/Support/Check.h"
#include "benchmarks/Support/Rounds.h"
#include "benchmarks/Support/Tokens.h"

namespace {

using bench::check;
using bench::tokenCount;
using tarvex::Data;
using tarvex::JWT;
using tarvex::Crypto::ECDSA;

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

// Verifies one signature by a key of its own.
class Verifier {
 public:
  Verifier(const ECDSA& pair, const std::string& msg) : key_(toPKey(pair)) {
    check(EVP_PKEY_sign_init(context_.get()) == 1);
    signed_ = digested(msg + '.', context_.get());
    check(EVP_PKEY_verify_init(context_.get()) == 1);
  }

  void verify() const {
    check(EVP_PKEY_verify(context_.get(), signed_.derSig.data(), signed_.derSig.size(),
                          signed_.digest.data(), 32) == 1);
  }

 private:
  PKey key_;
  Context context_{EVP_PKEY_CTX_new(key_.get(), nullptr), EVP_PKEY_CTX_free};
  Digested signed_;
};

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

// How long `count` threads take together for one operation; each makes its own by `make`.
template <typename Make>
bench::Nanoseconds timePerOperation(int count, const Make& make) {
  constexpr std::chrono::milliseconds time(40);
  std::atomic<long> done = 0;
  const auto start = bench::Clock::now();
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < count; ++thread) {
      threads.emplace_back([&] {
        long mine = 0;
        const auto operation = make();
        for (; bench::Clock::now() - start < time; ++mine) operation();
        done += mine;
      });
    }
  }
  return bench::Nanoseconds(bench::Clock::now() - start) / static_cast<double>(done);
}

// What two threads gain with keys of their own, by libcrypto alone, says what the machine can give.
void measureThreads(int rounds, const ECDSA& key) {
  const std::string msg(200, 'm');
  const Data signature = key.createSignature(msg);
  const auto verify = [&] {
    return [&] { key.verifySignature({.msg = msg, .signature = signature}); };
  };
  const auto verifyApart = [&] { return [own = Verifier(key, msg)] { own.verify(); }; };
  bench::Rounds measured({});
  for (int round = 0; round < rounds; ++round) {
    measured.add("one", timePerOperation(1, verify));
    measured.add("two", timePerOperation(2, verify));
    measured.add("one.apart", timePerOperation(1, verifyApart));
    measured.add("two.apart", timePerOperation(2, verifyApart));
  }
  measured.reportRatio("verify.two-threads/one-thread", "two", "one");
  measured.reportRatio("machine.two-threads/one-thread", "two.apart", "one.apart");
}

void measureHash(int rounds, const char* figure, std::size_t size) {
  const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> sha256(
      EVP_MD_fetch(nullptr, "SHA256", nullptr), EVP_MD_free);
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  const Data data(size, 'd');
  const tarvex::Crypto::Digest ours(tarvex::Crypto::Hash::sha256);
  bench::Rounds measured({
      {"ours", [&](std::size_t) { check(ours.compute(data).size() == 32); }},
      {"libcrypto",
       [&](std::size_t) {
         std::array<unsigned char, 32> digest;
         check(EVP_DigestInit_ex2(context.get(), sha256.get(), nullptr) == 1 &&
               EVP_DigestUpdate(context.get(), data.data(), data.size()) == 1 &&
               EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) == 1);
       }},
  });
  measured.run(rounds, std::chrono::milliseconds(3));
  measured.reportRatio(figure, "ours", "libcrypto");
}

// A key that is made anew before it has verified often.
class ColdKey {
 public:
  explicit ColdKey(Data bytes) : bytes_(std::move(bytes)), key_({.pubKey = bytes_}) {}

  const ECDSA& next() {
    if (++uses_ % 256 == 0) key_ = ECDSA({.pubKey = bytes_});
    return key_;
  }

 private:
  Data bytes_;
  ECDSA key_;
  unsigned uses_ = 0;
};

void verify(const std::string& text, const ECDSA& key) {
  (void)JWT::fromBase64url({.base64url = text, .ec = &key, .verifySignature = true});
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 101;
  const bench::Tokens made;
  const auto& pair = made.pair;
  const auto& tokens = made.tokens;
  const auto& texts = made.texts;
  const PKey pkey = toPKey(pair);
  const Context verifier(EVP_PKEY_CTX_new(pkey.get(), nullptr), EVP_PKEY_CTX_free);
  const Context signer(EVP_PKEY_CTX_new(pkey.get(), nullptr), EVP_PKEY_CTX_free);
  check(EVP_PKEY_verify_init(verifier.get()) == 1 && EVP_PKEY_sign_init(signer.get()) == 1);

  std::vector<Digested> digests;
  for (const std::string& text : texts) digests.push_back(digested(text, signer.get()));

  const Data publicKey = tarvex::SecKeyCopyExternalRepresentation(pair.publicKey()).value();
  ColdKey coldKey(publicKey);
  for (int use = 0; use < 1000; ++use) verify(texts[0], pair);  // now it is hot
  measureThreads(rounds, pair);

  bench::Rounds measured({
      {"verify.hot", [&](std::size_t i) { verify(texts[i % tokenCount], pair); }},
      {"verify.cold", [&](std::size_t i) { verify(texts[i % tokenCount], coldKey.next()); }},
      {"import", [&](std::size_t) { (void)ECDSA({.pubKey = publicKey}); }},
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

  measured.reportRatio("token.verify.hot/libcrypto", "verify.hot", "EVP_PKEY_verify");
  measured.reportRatio("token.verify.cold/libcrypto", "verify.cold", "EVP_PKEY_verify");
  measured.reportRatio("token.export/libcrypto", "export", "EVP_PKEY_sign");
  measured.reportRatio("token.read.unverified/cjose", "read", "cjose");
  measured.reportRatio("token.read.unverified/cjose.import", "read", "cjose.import");
  measured.reportRate("key.import.public.per-second", "import");
  for (const char* name : {"verify.hot", "verify.cold", "EVP_PKEY_verify", "export",
                           "EVP_PKEY_sign", "read", "cjose"}) {
    measured.reportTime(name, name);
  }
  measureHash(rounds, "hash.64B/libcrypto", 64);
  measureHash(rounds, "hash.1KiB/libcrypto", 1024);
  measureHash(rounds, "hash.1MiB/libcrypto", 1048576);
}
