// Tokens and digests, against the functions of libcrypto alone that they are built on.
//
//   token.verify.hot/libcrypto   reading with verification against EVP_PKEY_verify of a
//                                digest, its context reused; by a key that is used often,
//                                ".cold" by one that is not
//   verify.two-threads/one-thread  how many times more signatures two threads verify
//                                than one in the same time, with one key; "machine."
//                                is the same of libcrypto, each thread with a key of its own
//   key.import.public.per-second   keys from 65 bytes
//   key.table.ms                 the verification that makes a key's table
//   token.export/libcrypto       export against EVP_PKEY_sign of a digest, likewise
//   hash.1KiB/libcrypto          a digest against one by EVP_DigestUpdate, algorithm and
//                                context reused
//
// A ratio above 1 says that ours is faster.

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/sha.h>

#include <array>
#include <atomic>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "TarvexCommon/Crypto/Digest.h"
#include "TarvexCommon/JWT/JWT.h"
#include "TarvexCommon/Platform/Linux/OpenSSLVerification.h"
#include "benchmarks/Support/Check.h"
#include "benchmarks/Support/Owned.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"
#include "benchmarks/Support/Tokens.h"

namespace {

using bench::check;
using bench::Owned;
using bench::tokenCount;
using tarvex::Data;
using tarvex::JWT;
using tarvex::Crypto::ECDSA;

// Signatures of the texts by libcrypto, with the same pair and a context of its own.
class Libcrypto {
 public:
  Libcrypto(const ECDSA& pair, const std::vector<std::string>& texts) {
    setKey(tarvex::SecKeyCopyExternalRepresentation(pair.privateKey()).value());
    signer_.reset(EVP_PKEY_CTX_new(key_.get(), nullptr));
    verifier_.reset(EVP_PKEY_CTX_new(key_.get(), nullptr));
    check(EVP_PKEY_sign_init(signer_.get()) == 1 && EVP_PKEY_verify_init(verifier_.get()) == 1);
    for (const std::string& text : texts) {
      Signed& made = signatures_.emplace_back();
      const std::string_view input = std::string_view(text).substr(0, text.rfind('.'));
      SHA256(tarvex::Bytes(input).data(), input.size(), made.digest.data());
      sign(made);
    }
  }

  void sign(std::size_t i) const {
    Signed made = {.digest = at(i).digest};
    sign(made);
  }

  void verify(std::size_t i) const {
    const Signed& one = at(i);
    check(EVP_PKEY_verify(verifier_.get(), one.signature.data(), one.size, one.digest.data(), 32) ==
          1);
  }

 private:
  struct Signed {
    std::array<unsigned char, 32> digest = {};
    std::array<unsigned char, 80> signature = {};
    std::size_t size = signature.size();
  };

  void setKey(const Data& bytes) {
    Owned<EC_KEY, EC_KEY_free> key(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
    check(EC_KEY_oct2key(key.get(), bytes.data(), 65, nullptr) == 1);
    check(EC_KEY_oct2priv(key.get(), bytes.data() + 65, 32) == 1);
    check(EVP_PKEY_assign_EC_KEY(key_.get(), key.release()) == 1);
  }

  void sign(Signed& made) const {
    check(EVP_PKEY_sign(signer_.get(), made.signature.data(), &made.size, made.digest.data(), 32) ==
          1);
  }

  const Signed& at(std::size_t i) const { return signatures_[i % signatures_.size()]; }

  Owned<EVP_PKEY, EVP_PKEY_free> key_{EVP_PKEY_new()};
  Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> signer_, verifier_;
  std::vector<Signed> signatures_;
};

void verify(const std::string& text, const ECDSA& key) {
  (void)JWT::fromBase64url({.base64url = text, .ec = &key, .verifySignature = true});
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

Data publicKeyOf(const ECDSA& pair) {
  return tarvex::SecKeyCopyExternalRepresentation(pair.publicKey()).value();
}

void measureTokens(int rounds, const bench::Tokens& made) {
  const ECDSA& pair = made.pair;
  const Data publicKey = publicKeyOf(pair);
  const Libcrypto libcrypto(pair, made.texts);
  ColdKey coldKey(publicKey);
  bench::Rounds measured({
      {"verify.hot", [&](std::size_t i) { verify(made.texts[i % tokenCount], pair); }},
      {"verify.cold", [&](std::size_t i) { verify(made.texts[i % tokenCount], coldKey.next()); }},
      {"import", [&](std::size_t) { (void)ECDSA({.pubKey = publicKey}); }},
      {"EVP_PKEY_verify", [&](std::size_t i) { libcrypto.verify(i); }},
      {"export", [&](std::size_t i) { (void)made.tokens[i % tokenCount].exportBase64url(pair); }},
      {"EVP_PKEY_sign", [&](std::size_t i) { libcrypto.sign(i); }},
  });
  measured.run(rounds, std::chrono::milliseconds(15));
  measured.reportRatio("token.verify.hot/libcrypto", "verify.hot", "EVP_PKEY_verify");
  measured.reportRatio("token.verify.cold/libcrypto", "verify.cold", "EVP_PKEY_verify");
  measured.reportRatio("token.export/libcrypto", "export", "EVP_PKEY_sign");
  measured.reportRate("key.import.public.per-second", "import");
  for (const char* name :
       {"verify.hot", "verify.cold", "EVP_PKEY_verify", "export", "EVP_PKEY_sign"}) {
    measured.reportTime(name, name);
  }
}

void measureTable(int rounds, const bench::Tokens& made) {
  bench::Rounds measured({});
  for (int round = 0; round < std::max(5, rounds / 30); ++round) {
    const ECDSA key({.pubKey = publicKeyOf(made.pair)});
    const auto use = [&] { verify(made.texts[0], key); };
    for (unsigned i = 1; i < tarvex::VerificationKey::usesWithoutTable; ++i) use();
    measured.add("table", bench::timeOf(use));
  }
  measured.reportMilliseconds("key.table.ms", "table");
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

void measureThreads(int rounds, const bench::Tokens& made) {
  const std::string& text = made.texts[0];
  const auto ours = [&] { return [&] { verify(text, made.pair); }; };
  const auto apart = [&] { return [own = Libcrypto(made.pair, {text})] { own.verify(0); }; };
  bench::Rounds measured({});
  for (int round = 0; round < rounds; ++round) {
    measured.add("one", timePerOperation(1, ours));
    measured.add("two", timePerOperation(2, ours));
    measured.add("one.apart", timePerOperation(1, apart));
    measured.add("two.apart", timePerOperation(2, apart));
  }
  measured.reportRatio("verify.two-threads/one-thread", "two", "one");
  measured.reportRatio("machine.two-threads/one-thread", "two.apart", "one.apart");
}

void measureHash(int rounds, const char* figure, std::size_t size) {
  const Owned<EVP_MD, EVP_MD_free> sha256(EVP_MD_fetch(nullptr, "SHA256", nullptr));
  const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
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

void measure(int rounds) {
  const bench::Tokens made;
  for (int use = 0; use < 1000; ++use) verify(made.texts[0], made.pair);  // now it is hot
  measureThreads(rounds, made);
  measureTokens(rounds, made);
  measureTable(rounds, made);
  measureHash(rounds, "hash.64B/libcrypto", 64);
  measureHash(rounds, "hash.1KiB/libcrypto", 1024);
  measureHash(rounds, "hash.1MiB/libcrypto", 1048576);
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, measure); }
