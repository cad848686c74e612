#include <gtest/gtest.h>

#include "TarvexCommon/Base/Formatter.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "tests/Support/Errors.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

const std::string file = ownVectors + "Dates.txt";

std::string written(const std::optional<Date>& date) { return date ? Date::toRfc3339(*date) : ""; }

TEST(Date, IsReadFromTheInternetsFormatOnly) {
  for (const Vector& row : readVectors(file, "read")) {
    SCOPED_TRACE(row.trace() + ' ' + row.raw("text"));
    EXPECT_EQ(written(Date::fromRfc3339(row.text("text"))), row.has("date") ? row.raw("date") : "");
  }
}

TEST(Date, IsWrittenToTheMillisecond) {
  for (const Vector& row : readVectors(file, "written")) {
    SCOPED_TRACE(row.trace());
    const Date date = Date::fromTimeIntervalSince1970(std::stod(row.raw("seconds")));
    EXPECT_EQ(Date::toRfc3339(date), row.raw("date"));
  }
}

// 1709622489 is 2024-03-05T07:08:09Z by GNU date.
TEST(Date, CountsFrom1970) {
  EXPECT_EQ(Date::fromRfc3339("2024-03-05T07:08:09.057Z"),
            Date::fromTimeIntervalSince1970(1709622489.057));
}

TEST(Date, SurvivesEveryMillisecondOfASecond) {
  for (int i = 0; i < 1000; ++i) {
    const Date date = Date::fromTimeIntervalSince1970(-1709622489 + i / 1000.0);
    const std::string text = Date::toRfc3339(date);
    EXPECT_EQ(written(Date::fromRfc3339(text)), text);
    EXPECT_EQ(text.substr(20, 3), std::to_string(1000 + i).substr(1));
  }
}

TEST(Formatter, ReadsAndWritesOneFormByItsOptions) {
  const ISO8601DateFormatter plain;
  EXPECT_EQ(plain.string(plain.date("2024-03-05T07:08:09Z").value()), "2024-03-05T07:08:09Z");
  EXPECT_EQ(plain.date("2024-03-05T07:08:09.123Z"), std::nullopt);
  EXPECT_EQ(Formatter::rfc3339().date("2024-03-05T07:08:09Z"), std::nullopt);
  EXPECT_EQ(Formatter::rfc3339().formatOptions(), 0xF73U);
  EXPECT_EQ(&Formatter::rfc3339(), &Formatter::rfc3339());
}

TEST(DateStrategies, ReadAndWriteRfc3339) {
  using Dates = std::map<std::string, std::optional<Date>>;
  const JSONDecoder decoder{.dateDecodingStrategy = DateDecodingStrategy::rfc3339()};
  const JSONEncoder encoder{.dateEncodingStrategy = DateEncodingStrategy::rfc3339()};
  const auto rewritten = [&](std::string_view json) {
    try {
      return encoder.encode(decoder.decode<Dates>(json));
    } catch (const DecodingError& error) {
      return describe(error);
    }
  };
  EXPECT_EQ(rewritten(R"({"a":null,"d":"2024-03-05T08:08:09+01:00"})"),
            R"({"a":null,"d":"2024-03-05T07:08:09.000Z"})");
  EXPECT_EQ(rewritten(R"({"d":"nope"})"), "dataCorrupted [d] Invalid date: nope");
  EXPECT_EQ(rewritten(R"({"d":5})"),
            "typeMismatch [d] Expected to decode String but found number instead.");
}

}  // namespace
}  // namespace tarvex
