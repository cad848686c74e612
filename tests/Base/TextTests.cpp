#include <gtest/gtest.h>

#include "TarvexCommon/Base/Text.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

const std::string file = ownVectors + "Text.txt";

TEST(GraphemeCount, CountsWhatAUserPerceives) {
  for (const Vector& vector : readVectors(file, "graphemes")) {
    EXPECT_EQ(graphemeCount(vector.text("text")), vector.number("count")) << vector.trace();
  }
}

TEST(IsUTF8, AcceptsEveryScalarValue) {
  for (const Vector& vector : readVectors(file, "UTF-8")) {
    EXPECT_TRUE(isUTF8(vector.text("text"))) << vector.trace();
  }
}

TEST(IsUTF8, RefusesMalformedBytesAtAnyPlace) {
  for (const Vector& vector : readVectors(file, "malformed")) {
    for (std::size_t before = 0; before < 70; ++before) {
      const std::string text = std::string(before, 'x') + vector.text("text");
      EXPECT_FALSE(isUTF8(text) || isUTF8(text + "y")) << vector.trace() << " behind " << before;
    }
  }
}

TEST(CanonicallyEqual, ComparesCanonicalEquivalence) {
  for (const bool expected : {true, false}) {
    for (const Vector& vector : readVectors(file, expected ? "equivalent" : "different")) {
      SCOPED_TRACE(vector.trace());
      EXPECT_EQ(canonicallyEqual(vector.text("first"), vector.text("second")), expected);
      EXPECT_EQ(canonicallyEqual(vector.text("second"), vector.text("first")), expected);
    }
  }
}

TEST(CanonicalForm, IsTheSameForEquivalentTextsAndKeepsTheRest) {
  EXPECT_EQ(canonicalForm("\u0958\uAC01"), "\u0915\u093C\u1100\u1161\u11A8");
  EXPECT_EQ(canonicalForm("q\u0307\u0323"), "q\u0323\u0307");
  EXPECT_EQ(canonicalForm("A\u030A\xFF"), "A\u030A\xFF");
  std::string marks = "a";
  for (int i = 0; i < 500'000; ++i) marks += i % 2 == 0 ? "\u0301" : "\u0323";
  EXPECT_EQ(canonicalForm(marks).size(), marks.size());
}

}  // namespace
}  // namespace tarvex
