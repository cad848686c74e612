#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <map>
#include <variant>

#include "TarvexCommon/Crypto/CryptoError.h"
#include "TarvexCommon/JWT/JWTError.h"
#include "TarvexCommon/Keychain/KeychainError.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

const std::string file = ownVectors + "Descriptions.txt";

StringTable tableOf(std::map<std::string, std::string> texts) {
  return [texts](const std::string& key, const std::string& defaultValue, const std::string&) {
    const auto text = texts.find(key);
    return text == texts.end() ? defaultValue : text->second;
  };
}

const std::variant<CryptoError, JWTError, KeychainError> errors[] = {
    CryptoError::secInternalError("boom"),
    CryptoError::invalidRSLength(),
    CryptoError::invalidSigLength(),
    CryptoError::invalidDerSig(),
    CryptoError::missingPublicKey(),
    CryptoError::algoNotSupported(),
    JWTError::invalidSegmentCount(),
    JWTError::decodeFailed(),
    JWTError::encodeFailed(),
    JWTError::verificationFailed(),
    JWTError::claimsExpired(),
    KeychainError::unhandledError("boom"),
    KeychainError::stringConversionError(),
    KeychainError::dataConversionError(),
    KeychainError::itemNotFoundError(),
    KeychainError::itemNotSavedError(),
    KeychainError::updateError()};

// Each error has the description of its vector in this language, and equals no other.
void expectDescriptions(const std::string& language) {
  const auto vectors = readVectors(file, "errors");
  ASSERT_EQ(vectors.size(), std::size(errors));
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    const auto check = [&](const auto& error) {
      EXPECT_EQ(error.errorDescription(), vectors[i].raw(language));
      EXPECT_EQ(error.what(), vectors[i].raw("english"));
    };
    std::visit(check, errors[i]);
    EXPECT_EQ(std::ranges::count(errors, errors[i]), 1);
  }
}

TEST(ErrorDescription, IsTheEnglishDefaultWithoutATranslation) {
  const InstalledServices installed({.stringTable = tableOf({})});
  expectDescriptions("english");
}

TEST(ErrorDescription, IsLookedUpAnewEachTime) {
  const JWTError error = JWTError::verificationFailed();
  const InstalledServices installed({.stringTable = tableOf({{"JWT_SIG_VERIFY", "Nein: %@"}})});
  EXPECT_EQ(error.errorDescription(), "Nein: %@");
  EXPECT_STREQ(error.what(), "signature verification failed");
  installServices({.stringTable = tableOf({{"JWT_SIG_VERIFY", "Non"}})});
  EXPECT_EQ(error.errorDescription(), "Non");
}

TEST(ErrorDescription, TakesThePayloadAsAnArgument) {
  for (const Vector& vector : readVectors(file, "formats")) {
    const InstalledServices installed(
        {.stringTable = tableOf({{"CRYPTO_SEC_INTERNAL", vector.raw("format")}})});
    const auto error = CryptoError::secInternalError(vector.raw("payload"));
    EXPECT_EQ(error.errorDescription(), vector.raw("description")) << vector.trace();
  }
}

void speak(const char* locale, const char* language) {
  setenv("LANGUAGE", language, 1);
  ASSERT_NE(setlocale(LC_MESSAGES, locale), nullptr) << "no locale " << locale;
}

TEST(GettextStringTable, SpeaksTheLanguageOfTheHost) {
  const StringTable table = gettextStringTable(TARVEX_TEST_LOCALE_DIR);
  const InstalledServices installed({.stringTable = table});
  speak("C.UTF-8", "de");
  expectDescriptions("german");
  EXPECT_EQ(table("NO_SUCH_KEY", "a text", ""), "a text");
  EXPECT_EQ(table("JWT_SIG_VERIFY", "another text", ""), "another text");
  EXPECT_EQ(table("", "", ""), "");
  speak("C", "de");
  expectDescriptions("english");
  unsetenv("LANGUAGE");
}

}  // namespace
}  // namespace tarvex
