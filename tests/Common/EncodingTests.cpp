#include <gtest/gtest.h>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Base64Segment.h"
#include "TarvexCommon/Common/Encoding.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

void check(const std::string& section, std::string (*convert)(std::string_view)) {
  for (const Vector& vector : readVectors(ownVectors + "Encoding.txt", section)) {
    EXPECT_EQ(convert(vector.text("from")), vector.text("to")) << vector.trace();
  }
}

TEST(Encoding, PutsTheStandardAlphabetAndPads) { check("to base64", Encoding::b64urlToBase64); }

TEST(Encoding, PutsTheURLAlphabetAndDropsPadding) {
  check("to base64url", Encoding::base64ToB64url);
}

// Padding by characters decodes nothing that padding by bytes does not.
void checkAllTextsBehind(const std::string& start, int more) {
  EXPECT_EQ(fromBase64Segment(start), fromBase64(Encoding::b64urlToBase64(start)))
      << testing::PrintToString(start);
  if (more == 0) return;
  for (const auto* next : {"A", "/", "-", "_", "=", "\r", "\n", "\u0301", "\xFF"}) {
    checkAllTextsBehind(start + next, more - 1);
  }
}

TEST(Encoding, AgreesWithSegmentsForEveryShortText) { checkAllTextsBehind("", 5); }

}  // namespace
}  // namespace tarvex
