#include <gtest/gtest.h>
#include <openssl/err.h>

#include <fstream>
#include <iterator>
#include <vector>

#include "TarvexCommon/Crypto/KeyFormats.h"
#include "TarvexCommon/Platform/PEM.h"
#include "tests/Support/Errors.h"
#include "tests/Support/Vectors.h"

namespace tarvex::Crypto::KeyFormats {
namespace {

const std::string keyFormats = ownVectors + "KeyFormats.txt";
const std::string asymmetric = nistVectors + "asymmetric/";

std::string contentOf(const std::string& path) {
  std::ifstream stream(path);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The text of a record, or of the file that it names.
std::string textOf(const Vector& vector) {
  return vector.has("file") ? contentOf(asymmetric + vector.raw("file")) : vector.text("text");
}

// What a key is, or "case: description" of the error.
std::string outcomeOf(Key (*read)(Bytes), const std::string& text) {
  constexpr const char* cases[] = {"notAKey",    "encrypted", "wrongType",
                                   "wrongCurve", "malformed", "invalid"};
  try {
    const Key key = read(text);
    return toHex(key.pubKey) + (key.privKey ? ' ' + toHex(*key.privKey) : "");
  } catch (const KeyFormatError& error) {
    return cases[static_cast<std::size_t>(error.errorCase())] + (": " + std::string(error.what()));
  }
}

class KeyFormatsOfOthers : public testing::Test {
 protected:
  ~KeyFormatsOfOthers() override {
    EXPECT_EQ(ERR_peek_error(), 0U) << "the queue of OpenSSL is the host's";
  }
};

TEST_F(KeyFormatsOfOthers, AreWrittenToTheByteAndReadAgain) {
  for (const Vector& vector : readVectors(keyFormats, "written")) {
    SCOPED_TRACE(vector.trace());
    const Data privKey = vector.bytes("private");
    const Bytes pubKey = Bytes(privKey).first(65);
    EXPECT_EQ(publicKeyToPEM(pubKey), vector.text("publicPEM"));
    EXPECT_EQ(privateKeyToPEM(privKey), vector.text("privatePEM"));
    EXPECT_EQ(publicKeyToJWK(pubKey), vector.raw("publicJWK"));
    EXPECT_EQ(privateKeyToJWK(privKey), vector.raw("privateJWK"));
    EXPECT_EQ(thumbprint(pubKey), vector.raw("thumbprint"));
    for (const char* form : {"publicPEM", "publicJWK", "privatePEM", "privateJWK"}) {
      const bool isPrivate = std::string(form).starts_with("private");
      EXPECT_EQ(outcomeOf(readKey, vector.text(form)),
                toHex(pubKey) + (isPrivate ? ' ' + vector.raw("private") : ""));
    }
  }
}

TEST_F(KeyFormatsOfOthers, AreRead) {
  for (const Vector& vector : readVectors(keyFormats, "read")) {
    SCOPED_TRACE(vector.trace());
    std::string expected = vector.raw("public");
    if (vector.has("private")) expected += ' ' + vector.raw("private");
    EXPECT_EQ(outcomeOf(readKey, textOf(vector)), expected);
    if (!vector.has("thumbprint")) continue;
    EXPECT_EQ(thumbprint(vector.bytes("public")), vector.raw("thumbprint"));
  }
}

TEST_F(KeyFormatsOfOthers, AreRefusedForAReasonThatUsersUnderstand) {
  for (const Vector& vector : readVectors(keyFormats, "refused")) {
    EXPECT_EQ(outcomeOf(readKey, textOf(vector)), vector.raw("error")) << vector.trace();
  }
}

TEST_F(KeyFormatsOfOthers, HaveCompressedPoints) {
  int count = 0;
  for (const Vector& vector : readVectors(asymmetric + "EC/compressed_points.txt")) {
    if (vector.raw("CURVE") != "SECP256R1") continue;
    SCOPED_TRACE(vector.trace());
    const std::string der = "3039301306072a8648ce3d020106082a8648ce3d030107032200";
    EXPECT_EQ(outcomeOf(keyFromPEM, writePEM("PUBLIC KEY", fromHex(der + vector.raw("POINT")))),
              "04" + vector.raw("X") + vector.raw("Y"));
    ++count;
  }
  EXPECT_GE(count, 2);
}

TEST(KeyFormats, AreNotTakenForEachOther) {
  EXPECT_THROW(keyFromPEM(Bytes()), KeyFormatError);
  for (const Vector& vector : readVectors(keyFormats, "written")) {
    EXPECT_EQ(outcomeOf(keyFromJWK, vector.text("publicPEM")),
              "malformed: the JWK is not a JSON object");
    EXPECT_EQ(outcomeOf(keyFromPEM, vector.text("publicJWK")),
              "notAKey: the text has no PEM block with a key");
  }
}

// The keys that an import refuses, and a public key for a private one.
TEST(KeyFormats, AreNotWrittenForWhatIsNoKey) {
  for (const Vector& vector : readVectors(ownVectors + "Keys.txt", "refused")) {
    SCOPED_TRACE(vector.trace());
    const bool isPrivate = vector.has("private");
    const Data bytes = vector.bytes(isPrivate ? "private" : "public");
    for (auto* const write : isPrivate ? std::vector{privateKeyToPEM, privateKeyToJWK}
                                       : std::vector{publicKeyToPEM, publicKeyToJWK, thumbprint}) {
      const auto error = thrown<KeyFormatError>([&] { write(bytes); });
      EXPECT_TRUE(error && error->errorCase() == KeyFormatError::Case::invalid);
    }
  }
}

}  // namespace
}  // namespace tarvex::Crypto::KeyFormats
