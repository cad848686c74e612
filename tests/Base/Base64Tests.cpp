#include <gtest/gtest.h>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Base64Segment.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

const std::string file = ownVectors + "Base64.txt";

TEST(Base64, WritesAndReadsTheVectors) {
  for (const Vector& vector : readVectors(file, "vectors")) {
    SCOPED_TRACE(vector.trace());
    const Data bytes = vector.bytes("bytes");
    std::string segment = "x.";
    appendBase64Segment(segment, bytes);
    EXPECT_EQ(toBase64(bytes), vector.raw("base64"));
    EXPECT_EQ(segment.substr(2), vector.raw("segment"));
    EXPECT_EQ(fromBase64(vector.raw("base64")), bytes);
    EXPECT_EQ(fromBase64Segment(vector.raw("segment")), bytes);
    EXPECT_EQ(fromBase64Segment(vector.raw("base64")), bytes);
  }
}

TEST(FromBase64, IgnoresUnusedBits) {
  EXPECT_EQ(fromBase64("YR=="), toData("a"));
  EXPECT_EQ(fromBase64("YWJ="), toData("ab"));
  EXPECT_EQ(fromBase64Segment("YR"), toData("a"));
}

TEST(FromBase64, RefusesEveryOtherText) {
  for (const Vector& vector : readVectors(file, "refused")) {
    EXPECT_EQ(fromBase64(vector.text("text")), std::nullopt) << vector.trace();
  }
}

TEST(FromBase64Segment, LeavesRoomForMoreBytes) {
  EXPECT_GE(fromBase64Segment("YWJj", 64)->capacity(), 67u);
}

}  // namespace
}  // namespace tarvex
