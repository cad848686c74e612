#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>

#include <atomic>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "tests/Support/Errors.h"
#include "tests/Support/ExampleKey.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Items.h"
#include "tests/Support/Threads.h"
#include "tests/Support/Vectors.h"

namespace tarvex::Crypto {
namespace {

using testing::_;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

const std::string ownSignatures = ownVectors + "Signatures.txt";

// Returns what the handle throws at this signature, in hexadecimal; nothing when it
// is the message's.
std::optional<CryptoError> refusal(const ECDSA& verifier, Bytes msg, const std::string& signature) {
  return thrown<CryptoError>([&] {
    EXPECT_TRUE(verifier.verifySignature({.msg = msg, .signature = fromHex(signature)}));
  });
}

// The message of the `secInternalError` that `operation` throws, for which "" stands
// in where it throws none.
template <typename Operation>
std::string fault(const Operation& operation) {
  const auto error = thrown<CryptoError>(operation);
  return error && error->errorCase() == CryptoError::Case::secInternalError
             ? std::string(error->message())
             : "";
}

TEST(VerifySignature, AnswersTheVectorsOfTheNISTAsTheyDo) {
  for (const auto& [file, expected] : {std::pair("SigVer.rsp", 3), {"SigGen.txt", 15}}) {
    int matching = 0;
    for (const Vector& vector : readVectors(ecdsaVectors + file, "P-256,SHA-256")) {
      const auto error = refusal(example::imported("04" + vector.raw("Qx") + vector.raw("Qy")),
                                 vector.bytes("Msg"), vector.raw("R") + vector.raw("S"));
      EXPECT_EQ(!error, vector.isGood()) << file << vector.trace();
      matching += !error;
    }
    EXPECT_EQ(matching, expected);
  }
}

TEST(Import, AnswersTheKeysOfTheNISTAsTheyDo) {
  const auto vectors = readVectors(ecdsaVectors + "PKV.rsp", "P-256");
  EXPECT_EQ(vectors.size(), 12U);
  for (const Vector& vector : vectors) {
    const std::string point = "04" + vector.raw("Qx") + vector.raw("Qy");
    const auto error = thrown<CryptoError>([&] { example::imported(point); });
    EXPECT_EQ(!error, vector.isGood()) << vector.trace();
  }
}

TEST(VerifySignature, TakesRAndSWhateverTheyBeginWith) {
  for (const Vector& vector : readVectors(ownSignatures, "r and s")) {
    SCOPED_TRACE(vector.trace());
    const auto error = refusal(example::imported("04" + vector.raw("point")), vector.raw("msg"),
                               vector.raw("signature"));
    EXPECT_EQ(!error, vector.isGood());
    EXPECT_TRUE(!error || error->message() != "");
  }
}

TEST(SecKeyVerifySignature, TakesTheFullAndTheShortestDER) {
  const ECDSA verifier = example::publicOnly();
  for (const Vector& vector : readVectors(ownSignatures, "DER")) {
    const auto failure = SecKeyVerifySignature(verifier.publicKey(), verifier.signingAlgo(),
                                               {.msg = "message 3", .derSig = vector.bytes("der")});
    EXPECT_EQ(!failure, vector.isGood()) << vector.trace();
  }
}

TEST(VerifySignature, LooksAtTheAlgorithmThenAtTheLength) {
  const ECDSA other =
      example::imported(example::publicKey, {}, {"algid:sign:ECDSA:message-X962:SHA-512"});
  for (const std::size_t size : {0U, 63U, 64U, 65U}) {
    const std::string signature = (example::r + example::s + "00").substr(0, 2 * size);
    EXPECT_EQ(refusal(other, "sample", signature), CryptoError::algoNotSupported());
    const auto error = refusal(example::pair(), "sample", signature);
    EXPECT_EQ(error == CryptoError::invalidSigLength(), size != 64) << size;
  }
}

TEST(CreateSignature, NeedsAPrivateKeyAndAnAlgorithmThatItKnows) {
  for (const ECDSA& handle :
       {example::imported(example::publicKey), example::publicOnly(),
        example::imported(example::publicKey, example::privateKey, {"other"})}) {
    EXPECT_EQ(thrown<CryptoError>([&] { handle.createSignature("x"); }),
              CryptoError::algoNotSupported());
  }
}

TEST(CreateSignature, HoldsForTwentyThousandMessages) {
  const ECDSA signer = example::pair();
  const ECDSA verifier = example::publicOnly();
  int zerosOfR = 0;
  int zerosOfS = 0;
  for (std::size_t i = 0; i < 20000; ++i) {
    const std::string msg(i % 300, 'm');
    const Data signature = signer.createSignature(msg);
    ASSERT_EQ(signature.size(), 64U);
    ASSERT_TRUE(verifier.verifySignature({.msg = msg, .signature = signature})) << toHex(signature);
    zerosOfR += signature[0] == 0;
    zerosOfS += signature[32] == 0;
  }
  EXPECT_GT(zerosOfR, 0) << "about 78 are expected";
  EXPECT_GT(zerosOfS, 0) << "about 78 are expected";
}

TEST(Import, SaysWhatIsWrongWithTheKeys) {
  for (const Vector& vector : readVectors(ownVectors + "Keys.txt", "refused")) {
    SCOPED_TRACE(vector.trace());
    std::optional<std::string> priv;
    if (vector.has("private")) priv = vector.raw("private");
    const std::string why = fault([&] { example::imported(vector.raw("public"), priv); });
    EXPECT_THAT(' ' + why, HasSubstr(' ' + vector.raw("fault")));
  }
  EXPECT_EQ(ERR_peek_error(), 0U) << "the queue of OpenSSL is the host's";
}

TEST(Import, DoesNotCompareTheTwoKeys) {
  // The public key of 1 is the generator, FIPS 186-4, D.1.2.3.
  const ECDSA mixed = example::imported(
      "046b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296"
      "4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5",
      example::privateKey);
  const std::string signature = toHex(mixed.createSignature("x"));
  EXPECT_EQ(refusal(example::pair(), "x", signature), std::nullopt);
  EXPECT_NE(refusal(mixed, "x", signature), std::nullopt);
}

TEST(Coordinates, JoinToAKeyWhateverTheirLengths) {
  const auto joined = [](std::size_t from, std::size_t size) {
    const std::string digits = example::x + example::y;
    return ECDSA({.x = toBase64(fromHex(digits.substr(from, size))),
                  .y = toBase64(fromHex(digits.substr(from + size)))});
  };
  for (const std::size_t size : {64U, 62U, 0U, 128U}) {
    EXPECT_EQ(refusal(joined(0, size), "sample", example::r + example::s), std::nullopt) << size;
  }
  EXPECT_THAT(fault([&] { joined(2, 62); }), HasSubstr(" 64 bytes"));
}

TEST(Coordinates, AreThoseOfThePublicKey) {
  const auto [x, y] = example::pair().coordinates();
  EXPECT_EQ(x, "YP7UuiVanTHJYet0xjVtaMBJuJI7Yfps5mliLmDyn7Y=");
  EXPECT_EQ(y, "eQP+EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk=");
}

TEST(CoordinatesDeathTest, StopAtWhatIsNotStandardBase64) {
  const std::string good = "eQP+EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk=";
  for (const std::string bad : {"eQP-EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk=",
                                "eQP+EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk", "eQP+\n"}) {
    EXPECT_DEATH(ECDSA({.x = good, .y = bad}), "Unexpectedly found nil");
    EXPECT_DEATH(ECDSA({.x = bad, .y = good}), "Unexpectedly found nil");
  }
}

// More often than a key verifies without a table of its own.
TEST(ECDSA, IsUsedByThreadsAtOnce) {
  const InstalledServices installed;
  ECDSA::createKeyPair("device");
  const ECDSA key = example::loaded("device");
  const Data before = key.createSignature("before");
  std::atomic<int> right = 0;
  inThreads(4, [&, copy = key](int) {
    for (int i = 0; i < 300; ++i) {
      const Data signature = key.createSignature("shared");
      right += copy.verifySignature({.msg = "shared", .signature = signature});
      right += key.verifySignature({.msg = "before", .signature = before});
      right += refusal(copy, "after", toHex(before)).has_value();
    }
  });
  EXPECT_EQ(right, 3600);
}

void create() { ECDSA::createKeyPair("device"); }
void load() { example::loaded("device"); }

// The platform's own services but for the items, which are in memory, with what a test
// replaces in `own`; the calls that matter to key pairs are written down on their way.
class KeyPairByLabel : public testing::Test {
 protected:
  using Dictionary = const ItemDictionary&;

  KeyPairByLabel() { install(); }
  ~KeyPairByLabel() override { installServices({}); }

  void install() {
    Services services = own;
    services.itemService.copyMatching = [this](Dictionary query, ItemValue* result) {
      calls.emplace_back(result == nullptr ? "exists" : "copyMatching", query);
      return own.itemService.copyMatching(query, result);
    };
    services.itemService.add = [this](Dictionary attributes, ItemValue* result) {
      calls.emplace_back("add", attributes);
      return own.itemService.add(attributes, result);
    };
    services.keyService.createRandomKey = [this](Dictionary attributes) {
      calls.emplace_back("createRandomKey", attributes);
      return own.keyService.createRandomKey(attributes);
    };
    installServices(services);
  }

  // The attributes of the stored keys with this tag.
  std::vector<ItemDictionary> stored(const std::string& tag) const {
    ItemValue found = ItemValue::List();
    ItemDictionary query = item("keys m_Limit=m_LimitAll r_Attributes=true");
    query[kSecAttrApplicationTag] = toData(tag);
    own.itemService.copyMatching(query, &found);
    std::vector<ItemDictionary> keys;
    for (const auto& each : *found.get<ItemValue::List>()) {
      keys.push_back(*each.get<ItemDictionary>());
    }
    return keys;
  }

  Services own{.itemService = memoryItemService()};
  std::vector<std::pair<std::string, ItemDictionary>> calls;
};

using KeyPairByLabelDeathTest = KeyPairByLabel;

const ItemDictionary lookUp = item("keys type=73 kcls=1 r_Ref=true atag='device:private");

TEST_F(KeyPairByLabel, IsLookedUpAndThenMadeWithSevenAttributes) {
  create();
  ItemDictionary made = item("type=73 bsiz=#256 labl=device perm=true extr=true");
  made["private"] = item("atag='device:private");
  made["public"] = item("atag='device:public");
  EXPECT_THAT(calls, ElementsAre(Pair("exists", lookUp), Pair("createRandomKey", made),
                                 Pair("add", _), Pair("add", _)));
}

TEST_F(KeyPairByLabel, IsMadeOnceAndLoadedByOneLookUp) {
  create();
  const std::string signature = toHex(example::loaded("device").createSignature("m"));
  calls.clear();
  create();
  EXPECT_EQ(refusal(example::loaded("device"), "m", signature), std::nullopt);
  EXPECT_THAT(calls, ElementsAre(Pair("exists", lookUp), Pair("copyMatching", lookUp)));
}

TEST_F(KeyPairByLabel, IsMadeWhateverKeptTheLookUpFromSucceeding) {
  own.itemService.copyMatching = [](const auto&...) { return errSecIO; };
  create();
  EXPECT_EQ(calls.size(), 4U);
}

TEST_F(KeyPairByLabel, IsStoredAsTwoItemsOfOneKey) {
  const std::string label("Gerät\0:x", 9);
  ECDSA::createKeyPair(label);
  create();
  const std::string signature = toHex(example::loaded(label).createSignature("m"));
  EXPECT_NE(refusal(example::loaded("device"), "m", signature), std::nullopt);
  const auto privateKeys = stored(label + ":private");
  const auto publicKeys = stored(label + ":public");
  ASSERT_TRUE(privateKeys.size() == 1 && publicKeys.size() == 1);
  ItemDictionary publicKey = privateKeys[0];
  publicKey[kSecAttrApplicationTag] = toData(label + ":public");
  publicKey[kSecAttrKeyClass] = kSecAttrKeyClassPublic;
  for (const char* date : {kSecAttrCreationDate, kSecAttrModificationDate}) {
    publicKey[date] = publicKeys[0].at(date);
  }
  EXPECT_EQ(publicKeys[0], publicKey);
  EXPECT_EQ(publicKey.at(kSecAttrLabel), ItemValue(label));
}

TEST_F(KeyPairByLabel, LeavesNothingWhenHalfOfItCannotBeStored) {
  const auto addItem = own.itemService.add;
  for (const int failing : {1, 2}) {
    int additions = 0;
    own.itemService.add = [&](Dictionary attributes, ItemValue* result) {
      return ++additions == failing ? errSecDiskFull : addItem(attributes, result);
    };
    EXPECT_EQ(fault(create), SecCopyErrorMessageString(errSecDiskFull));
    EXPECT_TRUE(stored("device:private").empty() && stored("device:public").empty()) << failing;
  }
}

TEST_F(KeyPairByLabel, IsReportedMissingInTheWordsOfTheItemService) {
  EXPECT_EQ(fault(load), SecCopyErrorMessageString(errSecItemNotFound));
  own.itemService.copyErrorMessage = [](OSStatus status) { return std::to_string(status); };
  install();
  EXPECT_EQ(fault(load), "-25300");
  own.itemService.copyErrorMessage = [](OSStatus) { return std::nullopt; };
  install();
  EXPECT_EQ(fault(load), "unknown keychain error");
  own.stringTable = [](const auto& name, const auto&...) { return name; };
  install();
  EXPECT_EQ(fault(load), "KEYCHAIN_UNKNOWN");
}

TEST_F(KeyPairByLabel, NeedsAPublicKey) {
  create();
  own.keyService.copyPublicKey = [](const auto&) { return nullptr; };
  install();
  EXPECT_EQ(thrown<CryptoError>(load), CryptoError::missingPublicKey());
}

TEST_F(KeyPairByLabelDeathTest, StopsAtALookUpThatGivesNoKey) {
  for (const ItemValue& found : {ItemValue(), ItemValue(toData("key")), ItemValue(SecKeyRef())}) {
    own.itemService.copyMatching = [&found](const auto&, ItemValue* result) {
      *result = found;
      return errSecSuccess;
    };
    EXPECT_DEATH(load(), "Fatal error");
  }
}

TEST_F(KeyPairByLabelDeathTest, StopsAtAServiceThatMakesNeitherAKeyNorAFailure) {
  own.keyService.createRandomKey = [](const auto&) { return SecKeyRef(); };
  own.keyService.createWithData = [](const auto&...) { return SecKeyRef(); };
  install();
  EXPECT_DEATH(create(), "Unexpectedly found nil");
  EXPECT_DEATH(example::pair(), "Unexpectedly found nil");
}

TEST_F(KeyPairByLabelDeathTest, PassesOnWhatTheKeyServiceAnswers) {
  const ECDSA signer = example::pair();
  const auto sign = [&] { signer.createSignature("m"); };
  SecKeyResult<Data> answer = SecKeyFailure{"the card was taken out"};
  own.keyService.createSignature = [&](const auto&...) { return answer; };
  own.keyService.createRandomKey = [](const auto&) { return SecKeyFailure{"no entropy"}; };
  std::optional<Data> bytes;
  own.keyService.copyExternalRepresentation = [&](const auto&) { return bytes; };
  install();
  for (const auto& answered : {std::optional<Data>(), {Data(64)}}) {
    bytes = answered;
    EXPECT_EQ(thrown<CryptoError>([&] { (void)signer.coordinates(); }),
              CryptoError::missingPublicKey());
  }
  EXPECT_EQ(fault(create), "no entropy");
  EXPECT_EQ(fault(sign), "the card was taken out");
  answer = fromHex("3144");
  EXPECT_EQ(thrown<CryptoError>(sign), CryptoError::invalidDerSig());
  answer = fromHex("3043021f" + example::r.substr(2) + "0220" + example::s);
  EXPECT_DEATH(sign(), "Fatal error: Assertion failed") << "r of 31 bytes";
}

}  // namespace
}  // namespace tarvex::Crypto
