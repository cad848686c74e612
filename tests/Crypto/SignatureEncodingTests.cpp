#include <gtest/gtest.h>

#include "TarvexCommon/Crypto/ECDSA.h"
#include "tests/Support/Errors.h"
#include "tests/Support/Vectors.h"

namespace tarvex::Crypto {
namespace {

const std::string file = ownVectors + "Signatures.txt";

// Returns r and s, or the error.
std::string readDER(const Data& der) {
  try {
    const auto raw = ECDSA::DERToRaw(der);
    return toHex(raw.r) + toHex(raw.s);
  } catch (const CryptoError& error) {
    return error.what();
  }
}

TEST(RawToDER, WritesComponentsInFullAndDERToRawReadsThem) {
  for (const Vector& vector : readVectors(file, "components")) {
    SCOPED_TRACE(vector.trace());
    const Data r = vector.bytes("r");
    const Data s = vector.bytes("s");
    EXPECT_EQ(toHex(ECDSA::rawToDER({.r = r, .s = s})), vector.raw("der"));
    EXPECT_EQ(readDER(vector.bytes("der")), vector.raw("r") + vector.raw("s"));
  }
}

TEST(RawToDER, TakesComponentsOf32BytesOnly) {
  for (const auto& [r, s] : {std::pair(31, 32), {32, 31}, {31, 31}, {33, 33}, {31, 33}, {0, 0}}) {
    const Data first(static_cast<std::size_t>(r), 1);
    const Data second(static_cast<std::size_t>(s), 1);
    EXPECT_EQ(thrown<CryptoError>([&] { ECDSA::rawToDER({.r = first, .s = second}); }),
              CryptoError::invalidRSLength())
        << r << " and " << s;
  }
}

TEST(DERToRawDeathTest, LooksAtTheSequenceTagThenAtLengthsOnly) {
  for (const Vector& vector : readVectors(file, "not written here")) {
    SCOPED_TRACE(vector.trace());
    const Data der = vector.bytes("der");
    if (vector.raw("outcome") == "stops") {
      EXPECT_DEATH(readDER(der), "Fatal error: Assertion failed");
    } else {
      EXPECT_EQ(readDER(der), vector.raw("outcome"));
    }
  }
}

}  // namespace
}  // namespace tarvex::Crypto
