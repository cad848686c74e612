// EC_KEY, which stands for OpenSSL's own verification here.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <gtest/gtest.h>
#include <openssl/crypto.h>
#include <openssl/ecdsa.h>
#include <openssl/obj_mac.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

#include "TarvexCommon/Platform/Digest.h"
#include "TarvexCommon/Platform/Linux/OpenSSLVerification.h"
#include "tests/Support/ExampleKey.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/Random.h"
#include "tests/Support/Threads.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

// Not every OpenSSL has tables that it reads: those of Debian for these processors have.
#if defined(__x86_64__) || defined(__aarch64__)
constexpr bool hasTables = true;
#else
constexpr bool hasTables = false;
#endif

// A key with its table.
struct Key {
  explicit Key(P256Point publicPoint) : point(std::move(publicPoint)) {}

  P256Point point;
  std::unique_ptr<const VerificationTable> table = VerificationTable::make(point.get());
};

Scalar scalar(const std::string& digits) {
  const Data bytes = fromHex(std::string(64 - digits.size(), '0') + digits);
  Scalar result;
  std::copy(bytes.begin(), bytes.end(), result.begin());
  return result;
}

// The key of a record; those of one point share it.
const Key& keyOf(const Vector& vector) {
  static std::map<std::string, Key> keys;
  const std::string digits =
      vector.has("point") ? vector.raw("point") : vector.raw("Qx") + vector.raw("Qy");
  return keys.try_emplace(digits, decodedPoint(fromHex("04" + digits))).first->second;
}

SignatureNumbers signatureOf(const Vector& vector) {
  if (vector.has("R")) return {scalar(vector.raw("R")), scalar(vector.raw("S"))};
  const std::string& digits = vector.raw("signature");
  return {scalar(digits.substr(0, 64)), scalar(digits.substr(64))};
}

Scalar digestOf(const Vector& vector) {
  if (vector.has("digest")) return scalar(vector.raw("digest"));
  return vector.has("Msg") ? sha256(vector.bytes("Msg")) : sha256(vector.raw("msg"));
}

TEST(Verification, AnswersTheVectorsWithAndWithoutATable) {
  for (const auto& [file, section] : {std::pair(ecdsaVectors + "SigVer.rsp", "P-256,SHA-256"),
                                      {ecdsaVectors + "SigGen.txt", "P-256,SHA-256"},
                                      {ownVectors + "Signatures.txt", "r and s"},
                                      {ownVectors + "Signatures.txt", "digests"}}) {
    for (const Vector& vector : readVectors(file, section)) {
      SCOPED_TRACE(file + vector.trace());
      const Key& key = keyOf(vector);
      ASSERT_TRUE(key.table || !hasTables);
      const SignatureNumbers signature = signatureOf(vector);
      for (const VerificationTable* table : {key.table.get(), {}}) {
        const bool isGood = signature.areInRange() &&
                            isSignature(signature, digestOf(vector), key.point.get(), table);
        EXPECT_EQ(isGood, vector.isGood()) << (table ? "with" : "without");
      }
    }
  }
}

using Signature = OpenSSLOwner<ECDSA_SIG, ECDSA_SIG_free>;
using Pair = OpenSSLOwner<EC_KEY, EC_KEY_free>;

SignatureNumbers sign(const Scalar& digest, EC_KEY* pair) {
  const Signature made(ECDSA_do_sign(digest.data(), 32, pair));
  SignatureNumbers signature{};
  BN_bn2binpad(ECDSA_SIG_get0_r(made.get()), signature.r.data(), 32);
  BN_bn2binpad(ECDSA_SIG_get0_s(made.get()), signature.s.data(), 32);
  return signature;
}

bool isSignatureByOpenSSL(const SignatureNumbers& signature, const Scalar& digest, EC_KEY* pair) {
  const Signature read(ECDSA_SIG_new());
  ECDSA_SIG_set0(read.get(), BN_bin2bn(signature.r.data(), 32, nullptr),
                 BN_bin2bn(signature.s.data(), 32, nullptr));
  return ECDSA_do_verify(digest.data(), 32, read.get(), pair) == 1;
}

TEST(Verification, AgreesWithThatOfOpenSSL) {
  const Pair pair(EC_KEY_new_by_curve_name(NID_X9_62_prime256v1));
  ASSERT_EQ(EC_KEY_generate_key(pair.get()), 1);
  const Key key(P256Point(EC_POINT_dup(EC_KEY_get0_public_key(pair.get()), p256())));
  Random random;
  Scalar digest{};
  for (int i = 0, count = isLong() ? 100000 : 2000; i < count; ++i) {
    digest = sha256(digest);
    SignatureNumbers signature = sign(digest, pair.get());
    Scalar checked = digest;
    Scalar* const parts[] = {nullptr, &checked, &signature.r, &signature.s};
    Scalar* const damaged = parts[i % 4];
    if (damaged != nullptr) {
      (*damaged)[random.below(32)] ^= static_cast<std::uint8_t>(1 << random.below(8));
    }
    const bool isGood = isSignatureByOpenSSL(signature, checked, pair.get());
    EXPECT_EQ(isGood, damaged == nullptr);
    for (const VerificationTable* table : {key.table.get(), {}}) {
      ASSERT_EQ(isSignature(signature, checked, key.point.get(), table), isGood)
          << (table ? "with" : "without") << " a table: " << toHex(checked) << ' '
          << toHex(signature.r) << ' ' << toHex(signature.s);
    }
  }
}

// How often the thread's OpenSSL gets memory before it once gets none; below zero: always.
thread_local int allocationsBefore = -1;

bool isMemoryLeft() { return allocationsBefore < 0 || allocationsBefore-- > 0; }

// OpenSSL takes these before its first use in the process.
const int areTaken = CRYPTO_set_mem_functions(
    [](auto size, auto...) { return isMemoryLeft() ? std::malloc(size) : nullptr; },
    [](auto* memory, auto size, auto...) {
      return isMemoryLeft() ? std::realloc(memory, size) : nullptr;
    },
    [](auto* memory, auto...) { std::free(memory); });

// Returns what a verification answers of a good signature, or nothing for want of memory.
std::optional<bool> answerWith(int allocations, const Key& key, const VerificationTable* table) {
  const SignatureNumbers signature{scalar(example::r), scalar(example::s)};
  const Scalar digest = sha256("sample");
  std::optional<bool> answer;
  allocationsBefore = allocations;
  try {
    answer = isSignature(signature, digest, key.point.get(), table);
  } catch (const std::bad_alloc&) {
  }
  allocationsBefore = -1;
  return answer;
}

TEST(Verification, GivesNoAnswerForWantOfMemory) {
  ASSERT_EQ(areTaken, 1);
  const Key key(decodedPoint(fromHex(example::publicKey)));
  inThreads(1, [&](int) {  // a new one has nothing left from earlier verifications
    for (const VerificationTable* table : {key.table.get(), {}}) {
      int allocations = 0;
      std::optional<bool> answer;
      while (!(answer = answerWith(allocations, key, table))) ++allocations;
      EXPECT_EQ(answer, true);
      EXPECT_GT(allocations, 0);
    }
  });
}

TEST(VerificationKey, MakesItsTableWhileThreadsUseIt) {
  // The signature of "sample" in RFC 6979, A.2.5.
  const VerificationKey key(decodedPoint(fromHex(example::publicKey)));
  const SignatureNumbers signature{scalar(example::r), scalar(example::s)};
  const auto verifiesOnlyItsOwn = [&] {
    return key.verifies(signature, sha256("sample")) && !key.verifies(signature, sha256("sampla"));
  };
  for (unsigned i = 1; i < VerificationKey::usesWithoutTable; ++i) {
    ASSERT_TRUE(key.verifies(signature, sha256("sample")));
  }
  EXPECT_FALSE(key.hasTable());
  std::atomic<int> right = 0;
  inThreads(2, [&](int) {
    for (int i = 0; i < 200; ++i) right += verifiesOnlyItsOwn();
  });
  EXPECT_EQ(right, 400);
  EXPECT_TRUE(key.hasTable() || !hasTables);
}

}  // namespace
}  // namespace tarvex
