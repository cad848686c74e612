#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "tests/JWT/Example.h"
#include "tests/Support/Errors.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Threads.h"
#include "tests/Support/Vectors.h"

using namespace std::string_literals;

namespace tarvex {
namespace {

using Crypto::ECDSA;
using example::token;

const std::string file = ownVectors + "Tokens.txt";
const std::string input = example::head + '.' + example::body;

std::string megabyteOf(std::string_view text) {
  std::string result;
  while (result.size() < 1024 * 1024) result += text;
  return result;
}

std::string signedText(const std::string& text) {
  const Data signature = example::pair().createSignature(text);
  return text + '.' + toSegment(signature);
}

JWT readUnverified(std::string_view text) {
  return JWT::fromBase64url({.base64url = text, .ec = nullptr, .verifySignature = false});
}

JWT readVerified(std::string_view text, const ECDSA& key) {
  return JWT::fromBase64url({.base64url = text, .ec = &key, .verifySignature = true});
}

// What became of a text: "read", the text of the token's error, or the kind of the JSON's.
template <typename Read>
std::string outcomeOf(Read read) {
  try {
    read();
    return "read";
  } catch (const JWTError& error) {
    return error.what();
  } catch (const DecodingError& error) {
    return describe(error).substr(0, describe(error).find(' '));
  }
}

Services hostServices() { return {.bundle = {.identifier = "com.example.tests"}}; }

TEST(ReadToken, WithoutVerificationFailsOnlyAtTheFirstTwoSegments) {
  const InstalledServices installed(hostServices());
  for (const Vector& vector : readVectors(file, "unverified")) {
    SCOPED_TRACE(vector.trace());
    EXPECT_EQ(outcomeOf([&] { readUnverified(vector.text("text")); }), vector.raw("outcome"));
  }
  EXPECT_THAT(installed.log.messages(), testing::IsEmpty());
}

TEST(ReadToken, WithVerificationDecodesOnlyWhatIsSigned) {
  const ECDSA key = example::publicOnly();
  for (const Vector& vector : readVectors(file, "verified")) {
    SCOPED_TRACE(vector.trace());
    const InstalledServices installed(hostServices());
    const bool isToSign = vector.has("signed");
    const auto text = isToSign ? signedText(vector.text("signed")) : vector.text("text");
    EXPECT_EQ(outcomeOf([&] { readVerified(text, key); }), vector.raw("outcome"));
    const auto log = vector.fields.find("log");
    const bool isLogged = log != vector.fields.end();
    EXPECT_EQ(installed.log.messages(),
              std::vector<std::string>(isLogged, isLogged ? log->second : ""));
  }
}

TEST(ReadToken, AnswersAMebibyteOfAnything) {
  const std::pair<std::string, const char*> rows[] = {
      {megabyteOf("."), "JWT has wrong number of segments"},
      {megabyteOf("A") + "A." + example::body, "JWT decoding has failed"},
      {example::head + '.' + megabyteOf("A"), "dataCorrupted"},
      {megabyteOf("W1tb") + '.' + example::body, "dataCorrupted"}};
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(text.substr(0, 8));
    EXPECT_EQ(outcomeOf([&, from = &text] { readUnverified(*from); }), expected);
  }
  const std::string zeros = signedText(rows[2].first);
  EXPECT_EQ(outcomeOf([&] { readVerified(zeros, example::publicOnly()); }), "dataCorrupted");
}

TEST(ReadToken, WithVerificationAndNoKeyFailsBeforeDecoding) {
  const InstalledServices installed(hostServices());
  for (const auto& text : {token, input, "!!!.!!!.x"s, "a.b.c.d"s}) {
    const JWT::Compact compact = {.base64url = text, .ec = nullptr, .verifySignature = true};
    EXPECT_EQ(
        outcomeOf([&] { JWT::fromBase64url(compact); }),
        text == "a.b.c.d" ? "JWT has wrong number of segments" : "signature verification failed");
  }
  EXPECT_THAT(installed.log.messages(), testing::IsEmpty());
}

TEST(ReadToken, ReturnsHeaderAndClaims) {
  EXPECT_EQ(readVerified(token, example::publicOnly()), example::record());
  EXPECT_EQ(readUnverified(input), example::record());
  EXPECT_EQ(readUnverified(example::head + ".eyJzdWIiOiJ-fj8-In0").claims.sub, "~~?>");
  EXPECT_EQ(readUnverified(example::head + ".eyJzdWIiOiJ+fj8+In0").claims.sub, "~~?>");
}

// A thread keeps the last header.
TEST(ReadToken, TellsHeadersApartThatFollowOneAnother) {
  const auto typeOf = [](const std::string& header, const char* claims = "e30") {
    return readUnverified(toSegment(header) + '.' + claims).header.type;
  };
  const std::string shortOne = R"({"typ":"a","alg":"x"})", other = R"({"typ":"b","alg":"x"})";
  const std::string longOne = R"({"typ":"c","alg":")" + std::string(2000, 'x') + "\"}";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(typeOf(shortOne), "a");
    EXPECT_EQ(typeOf(shortOne), "a");
    EXPECT_EQ(typeOf(other), "b");
    EXPECT_EQ(typeOf(longOne), "c");
    EXPECT_EQ(outcomeOf([&] { typeOf(other, "!"); }), outcomeOf([&] { typeOf("{}", "!"); }));
    EXPECT_EQ(outcomeOf([&] { typeOf("{}"); }), "keyNotFound");
    EXPECT_EQ(outcomeOf([] { readUnverified(".e30"); }), "dataCorrupted");
  }
}

TEST(ReadToken, LogsTheKeyServicesTextAsItIs) {
  Services services = hostServices();
  services.keyService.verifySignature = [](auto&&...) { return SecKeyFailure{"100%s %@"}; };
  const InstalledServices installed(std::move(services));
  EXPECT_EQ(outcomeOf([] { readVerified(token, example::publicOnly()); }),
            "signature verification failed");
  const LogRecord line = {"com.example.tests", "default",
                          "token verify failed: Security framework internal error: 100%s %@"};
  EXPECT_THAT(installed.log.records(), testing::ElementsAre(line));
}

TEST(ReadToken, RefusesWhateverAHostsKeyServiceThrowsButForWantOfMemory) {
  Services services = hostServices();
  int calls = 0;
  services.keyService.verifySignature = [&](auto&&...) -> std::optional<SecKeyFailure> {
    if (++calls == 1) throw std::runtime_error("no card");
    if (calls == 2) throw calls;
    throw std::bad_alloc();
  };
  const InstalledServices installed(std::move(services));
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(outcomeOf([] { readVerified(token, example::publicOnly()); }),
              "signature verification failed");
  }
  EXPECT_THROW(readVerified(token, example::publicOnly()), std::bad_alloc);
  EXPECT_THAT(installed.log.messages(), testing::ElementsAre("token verify failed: no card",
                                                             "token verify failed: unknown error"));
}

TEST(ReadToken, VerifiesTheExampleOfTheStandard) {
  const Vector vector = readVectors(file, "RFC 7515").at(0);
  const InstalledServices installed(hostServices());
  const ECDSA key({.x = vector.raw("x"), .y = vector.raw("y")});
  EXPECT_EQ(outcomeOf([&] { readVerified(vector.raw("text"), key); }), vector.raw("outcome"));
}

TEST(ExportToken, WritesASignedTokenThatReadsBack) {
  const ECDSA pair = example::pair();
  const std::string text = example::record().exportBase64url(pair);
  EXPECT_EQ(text.substr(0, input.size() + 1), input + '.');
  EXPECT_EQ(text.size(), token.size());
  EXPECT_EQ(text.find_first_of("+/="), text.npos);
  EXPECT_EQ(readVerified(text, pair), example::record());

  JWT fraction = example::record("\u00FE~~?>>>\U0001F511\0"s);
  fraction.claims.exp = Date::fromTimeIntervalSince1970(1900000000.75);
  const JWT read = readVerified(fraction.exportBase64url(pair), example::publicOnly());
  EXPECT_EQ(read, example::record("\u00FE~~?>>>\U0001F511\0"s));
}

TEST(ExportToken, PassesOnTheErrorsOfEncoderAndKey) {
  const auto exported = [](const JWT& record) {
    return [=] { record.exportBase64url(example::publicOnly()); };
  };
  EXPECT_EQ(thrown<CryptoError>(exported(example::record())), CryptoError::algoNotSupported());
  EXPECT_TRUE(thrown<EncodingError>(exported(example::record("\xFF"))));

  Services services = hostServices();
  services.keyService.createSignature = [](auto&&...) { return SecKeyFailure{"token gone"}; };
  const InstalledServices installed(std::move(services));
  EXPECT_EQ(thrown<CryptoError>([] { example::record().exportBase64url(example::pair()); }),
            CryptoError::secInternalError("token gone"));
  EXPECT_THAT(installed.log.messages(), testing::IsEmpty());
}

TEST(ValidateClaims, RefusesAnExpiryBeforeThePresent) {
  Services services;
  services.clock = fixedClock(Date::fromTimeIntervalSince1970(1000));
  const InstalledServices installed(std::move(services));
  for (const Vector& vector : readVectors(file, "expiries")) {
    JWT record = example::record();
    record.claims.exp = std::nullopt;
    if (vector.has("exp")) {
      record.claims.exp = Date::fromTimeIntervalSince1970(std::stod(vector.raw("exp")));
    }
    EXPECT_EQ(outcomeOf([&] { record.validateClaims(); }), vector.raw("outcome")) << vector.trace();
  }
}

// The first round makes what is made on first use, in all threads at once.
TEST(Token, GoesRoundInSeveralThreadsAtOnce) {
  const InstalledServices installed(hostServices());
  const ECDSA pair = example::pair();
  const ECDSA publicOnly = example::publicOnly();
  std::atomic<int> good = 0;
  inThreads(4, [&, copy = publicOnly](int thread) {
    for (int round = 0; round < 20; ++round) {
      const ECDSA& key = round % 2 == 0 ? publicOnly : copy;
      const JWT record = example::record(std::to_string(thread) + ':' + std::to_string(round));
      std::string text = record.exportBase64url(pair);
      good += readVerified(text, key) == record && record.header.encode() == example::head;
      text[0] = 'f';
      good += outcomeOf([&] { readVerified(text, key); }) == "signature verification failed";
    }
  });
  EXPECT_EQ(good, 160);
  EXPECT_EQ(installed.log.messages().size(), 80U);
}

}  // namespace
}  // namespace tarvex
