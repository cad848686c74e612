#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>

#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "tests/Support/Errors.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/Vectors.h"

using namespace std::string_literals;

namespace tarvex {
namespace {

using testing::ElementsAre;
using testing::Pair;

const std::string file = ownVectors + "JSON.txt";
const std::string notJSON = "dataCorrupted [] The given data was not valid JSON.";

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

template <typename T>
std::string json(const T& value, const JSONEncoder& encoder = {}) {
  try {
    return encoder.encode(value);
  } catch (const EncodingError& error) {
    return describe(error);
  }
}

// Reads a `T`, and returns what it is written as, or the error.
template <typename T>
std::string rewritten(std::string_view text, const JSONDecoder& decoder = {}) {
  try {
    return json(decoder.decode<T>(text));
  } catch (const DecodingError& error) {
    return describe(error);
  }
}

// Any value, not looked at.
struct Anything {
  explicit Anything(const Decoder&) {}
  void encode(Encoder& to) const { to.singleValueContainer().encode("read"); }
};

struct Note {
  std::string name;
  std::optional<double> size = {};
  std::optional<std::map<std::string, std::vector<std::string>>> tags = {};
  std::optional<bool> flag = {};
  std::optional<Date> due = {};
  std::optional<std::vector<Note>> parts = {};

  explicit Note(std::string itsName) : name(std::move(itsName)) {}
  explicit Note(const Decoder& decoder) {
    const auto members = decoder.container();
    name = members.decode<std::string>("name");
    size = members.decodeIfPresent<double>("size");
    tags = members.decodeIfPresent<std::map<std::string, std::vector<std::string>>>("tags");
    flag = members.decodeIfPresent<bool>("flag");
    due = members.decodeIfPresent<Date>("due");
    parts = members.decodeIfPresent<std::vector<Note>>("parts");
  }

  void encode(Encoder& to) const {
    auto members = to.container();
    members.encode("name", name);
    members.encodeIfPresent("size", size);
    members.encodeIfPresent("tags", tags);
    members.encodeIfPresent("flag", flag);
    members.encodeIfPresent("due", due);
    members.encodeIfPresent("parts", parts);
  }
};

// A record that reads its value by hand, and writes what it saw.
struct Shape {
  std::string text;

  explicit Shape(const Decoder& decoder) {
    if (decoder.singleValueContainer().decodeNil()) return;
    auto elements = decoder.unkeyedContainer();
    text = elements.decode<std::string>();
    while (!elements.isAtEnd()) {
      const std::size_t index = elements.currentIndex();
      const auto members = elements.decode<std::map<std::string, Shape>>();
      for (const auto& [key, shape] : members) text += std::to_string(index) + key + shape.text;
    }
  }
  void encode(Encoder& to) const { to.singleValueContainer().encode(text); }
};

// The outcome of a vector is what is written of the value that was read: its text where
// there is no other, or the error.
void checkOutcomes(const std::string& section) {
  using Map = std::map<std::string, std::optional<std::vector<std::optional<double>>>>;
  const std::map<std::string, std::string (*)(std::string_view, const JSONDecoder&)> types = {
      {"int8", rewritten<std::int8_t>},
      {"uint8", rewritten<std::uint8_t>},
      {"int32", rewritten<std::int32_t>},
      {"uint32", rewritten<std::uint32_t>},
      {"int64", rewritten<std::int64_t>},
      {"uint64", rewritten<std::uint64_t>},
      {"double", rewritten<double>},
      {"text", rewritten<std::string>},
      {"bools", rewritten<std::vector<bool>>},
      {"optional bool", rewritten<std::optional<bool>>},
      {"dates", rewritten<std::vector<Date>>},
      {"map", rewritten<Map>},
      {"Note", rewritten<Note>},
      {"Shape", rewritten<Shape>}};
  for (const Vector& vector : readVectors(file, section)) {
    EXPECT_EQ(types.at(vector.raw("type"))(vector.text("json"), {}),
              vector.text(vector.has("outcome") ? "outcome" : "json"))
        << vector.trace();
  }
}

TEST(JSONDecoder, ReadsAnIntegerOnlyWhenItIsExactlyThat) { checkOutcomes("integers"); }

TEST(JSONDecoder, SaysWhatIsWrongAndWhere) { checkOutcomes("errors"); }

TEST(JSONEncoder, WritesValuesAsTheStandardHasThem) { checkOutcomes("written"); }

TEST(JSONDecoder, AcceptsTheGrammarAndNothingElse) {
  for (const auto& [section, expected] : {std::pair("read", R"("read")"s), {"refused", notJSON}}) {
    for (const Vector& vector : readVectors(file, section)) {
      EXPECT_EQ(rewritten<Anything>(vector.text("json")), expected) << vector.trace();
    }
  }
}

std::string repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

TEST(JSONDecoder, Reads512NestedContainersAndNoMore) {
  for (const Vector& vector : readVectors(file, "nesting")) {
    SCOPED_TRACE(vector.trace());
    const auto read = [&](std::size_t depth) {
      return rewritten<Anything>(repeated(vector.raw("open"), depth) + vector.raw("inside") +
                                 repeated(vector.raw("close"), depth));
    };
    EXPECT_EQ(read(vector.number("deepest")), R"("read")");
    EXPECT_THAT(read(vector.number("deepest") + 1), testing::StartsWith("dataCorrupted [] "));
    EXPECT_THAT(read(200000), testing::StartsWith("dataCorrupted [] "));
  }
}

TEST(JSONDecoder, ReadsNumbersAsTheNearestDouble) {
  for (const Vector& vector : readVectors(file, "doubles")) {
    SCOPED_TRACE(vector.trace());
    const std::string& text = vector.raw("json");
    const double expected = std::strtod(vector.raw("value").c_str(), nullptr);
    const auto map =
        JSONDecoder().decode<std::map<std::string, double>>(R"({"1e-400":)" + text + "}");
    for (const double value : {JSONDecoder().decode<double>(text), map.at("1e-400")}) {
      EXPECT_EQ(value, expected);
      EXPECT_EQ(std::signbit(value), std::signbit(expected));
    }
  }
}

TEST(JSONDecoder, RefusesNumbersThatADoubleCannotHold) {
  for (const Vector& vector : readVectors(file, "beyond doubles")) {
    SCOPED_TRACE(vector.trace());
    EXPECT_EQ(rewritten<double>(vector.raw("json")), notJSON);
    EXPECT_EQ(rewritten<std::vector<double>>("[1, " + vector.raw("json") + " ]"), notJSON);
  }
}

TEST(JSONDecoder, LongNumbersLeaveTheRestAsItIs) {
  struct Record {
    std::string text;

    explicit Record(const Decoder& decoder) {
      auto elements = decoder.unkeyedContainer();
      text = elements.decode<std::string>();
      text += '|' + std::to_string(elements.decode<std::int64_t>());
      text += '|' + std::to_string(elements.decode<std::uint64_t>());
      EXPECT_EQ(elements.decode<double>(), -1e21);
    }
  };
  const auto record = JSONDecoder().decode<Record>(
      R"(["\\\"98765432109876543210987",1234567890123456789,18446744073709551615,)"
      R"(-1000000000000000000000])");
  EXPECT_EQ(record.text, R"(\"98765432109876543210987)"
                         "|1234567890123456789|18446744073709551615");
}

TEST(JSONDecoder, ReadsTextsWithTheirEscapes) {
  for (const Vector& vector : readVectors(file, "texts")) {
    const auto text = JSONDecoder().decode<std::string>(vector.text("json"));
    EXPECT_EQ(text, vector.text("text")) << vector.trace();
  }
}

// What an object with the keys K and U+212B has of them, and all its keys.
struct Units {
  std::string found;

  explicit Units(const Decoder& decoder) {
    const auto members = decoder.container();
    const auto kelvin = members.decodeIfPresent<int>("K");
    const auto angstrom = members.decodeIfPresent<int>("\u212B");
    found = (kelvin ? std::to_string(*kelvin) : "-") + ' ';
    found += angstrom ? std::to_string(*angstrom) : "-";
    for (const auto& key : members.allKeys()) found += " <" + key + '>';
    EXPECT_EQ(members.contains("K"), kelvin.has_value());
  }
};

TEST(JSONDecoder, TheFirstOfEquivalentKeysCounts) {
  for (const Vector& vector : readVectors(file, "keys")) {
    SCOPED_TRACE(vector.trace());
    const std::string json = vector.text("json");
    const std::string found = vector.text("found");
    EXPECT_EQ(JSONDecoder().decode<Units>(json).found, found);
    const auto map = JSONDecoder().decode<std::map<std::string, int>>(json);
    EXPECT_EQ(map.size(), std::count(found.begin(), found.end(), '<'));
    for (const auto& [key, value] : map) EXPECT_THAT(found, testing::HasSubstr('<' + key + '>'));
  }
}

TEST(JSONDecoder, ReadsARecordWithinRecords) {
  const auto note = JSONDecoder().decode<Note>(
      R"({"parts":[{"name":"b","flag":false,"parts":[]}],"more":[{}],"size":null,)"
      R"("tags":{"x":["r","w"],"y":[]},"name":"a"})");
  EXPECT_EQ(note.name, "a");
  EXPECT_FALSE(note.size || note.flag || note.due);
  EXPECT_THAT(*note.tags, ElementsAre(Pair("x", ElementsAre("r", "w")), Pair("y", ElementsAre())));
  EXPECT_EQ(json(*note.parts), R"([{"name":"b","flag":false,"parts":[]}])");
}

TEST(JSONDecoder, ReadsDatesByItsStrategy) {
  JSONDecoder decoder;
  EXPECT_EQ(decoder.decode<Date>("1.5").timeIntervalSince1970(), 978307201.5);
  decoder.dateDecodingStrategy = DateDecodingStrategy::secondsSince1970();
  EXPECT_EQ(decoder.decode<Date>("-1709622489.25").timeIntervalSince1970(), -1709622489.25);
}

TEST(JSONDecoder, AsksTheCustomRuleForEveryDateThatIsNotNull) {
  using Map = std::map<std::string, std::optional<Date>>;
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = DateDecodingStrategy::custom([](const Decoder& from) {
    const auto value = from.singleValueContainer();
    if (value.decode<std::string>() == "epoch") return Date();
    throw DecodingError::dataCorruptedError(value, "Not a date.");
  });
  EXPECT_THAT(decoder.decode<Map>(R"({"a":null,"b":"epoch"})"),
              ElementsAre(Pair("a", std::nullopt), Pair("b", Date())));
  EXPECT_EQ(rewritten<Map>(R"({"a":null,"b":""})", decoder), "dataCorrupted [b] Not a date.");
  EXPECT_EQ(rewritten<std::vector<Date>>("[null]", decoder),
            "valueNotFound [Index 0] Cannot get value of type Date -- found null value instead");
}

// What the standard library writes, whole numbers as such.
std::string shortest(double value) {
  const bool isWhole = std::abs(value) < 0x1p53 && value == std::trunc(value) && value != 0;
  std::array<char, 32> text;
  char* const end = text.data() + text.size();
  return {text.data(), isWhole
                           ? std::to_chars(text.data(), end, static_cast<std::int64_t>(value)).ptr
                           : std::to_chars(text.data(), end, value).ptr};
}

TEST(JSONEncoder, WritesDoublesWithTheFewestDigitsThatReadBack) {
  std::mt19937_64 random(1);
  const int rounds = isLong() ? 1'000'000 : 20'000;
  for (int i = 0; i < rounds && !HasFailure(); ++i) {
    const double power = std::ldexp(1, i % 64 - 10);
    const double common = power * (1 + std::ldexp(static_cast<double>(random() >> 12), -52));
    const double few = std::ldexp(static_cast<double>(random() % 1024), i % 64 - 53);
    const double decimal = static_cast<double>(random() % 1'000'000'000) / std::pow(10, i % 16);
    for (const double value : {std::bit_cast<double>(random()), common, -decimal, power, few,
                               std::nextafter(power, 0), std::trunc(common) + few}) {
      if (!std::isfinite(value)) continue;
      EXPECT_EQ(json(value), shortest(value));
    }
  }
}

TEST(JSONEncoder, WritesTextsOfEveryLengthWithAnyCharacterAtEveryPlace) {
  const std::pair<std::string, std::string> rows[] = {
      {"x", "x"},       {" ", " "},      {"\"", R"(\")"},
      {"\\", R"(\\)"},  {"\n", R"(\n)"}, {"\x1F", R"(\u001f)"},
      {"\x7F", "\x7F"}, {"é", "é"},      {"\"é", R"(\"é)"}};
  for (const auto& [character, escaped] : rows) {
    for (std::size_t place = 0; place < 40; ++place) {
      for (std::size_t left = 0; left < 20; ++left) {
        const std::string before(place, 'a'), behind(left, '~');
        const std::map<std::string, std::string> map = {
            {before + character + behind, behind + character}};
        EXPECT_EQ(json(map),
                  "{\"" + before + escaped + behind + "\":\"" + behind + escaped + "\"}");
        EXPECT_EQ(json(before + "\xFF" + behind),
                  "invalidValue [] Unable to encode a text that is not UTF-8.");
      }
    }
  }
}

TEST(JSONEncoder, WritesDatesByItsStrategy) {
  Note note("n");
  note.due = Date::fromTimeIntervalSinceReferenceDate(1.5);
  const auto noteWith = [&](DateEncodingStrategy dates) { return json(note, {std::move(dates)}); };
  EXPECT_EQ(json(note), R"({"name":"n","due":1.5})");
  EXPECT_EQ(noteWith(DateEncodingStrategy::secondsSince1970()),
            R"({"name":"n","due":978307201.5})");
  EXPECT_EQ(noteWith(DateEncodingStrategy::custom([](Date, Encoder&) {})),
            "invalidValue [due] The value did not encode anything.");
}

TEST(JSONEncoder, SaysWhatCannotBeWrittenAndWhere) {
  const std::string malformed = "a\xC3";
  Note note("n");
  note.parts = {Note("m"), Note(malformed)};
  const std::pair<std::string, std::string> rows[] = {
      {json(nan), "[] Unable to encode Double.nan directly in JSON."},
      {json(std::vector{1.0, infinity}), "[Index 1] Unable to encode Double.inf directly in JSON."},
      {json(std::map<std::string, double>{{"b", -infinity}}),
       "[b] Unable to encode Double.-inf directly in JSON."},
      {json(std::vector{Date() + nan}), "[Index 0] Unable to encode Double.nan directly in JSON."},
      {json(note), "[parts, Index 1, name] Unable to encode a text that is not UTF-8."},
      {json(std::map<std::string, int>{{malformed, 1}}),
       "[" + malformed + "] Unable to encode a text that is not UTF-8."}};
  for (const auto& [ended, expected] : rows) EXPECT_EQ(ended, "invalidValue " + expected);
}

// A record that writes itself as `write` says.
struct Record {
  void (*write)(Encoder& to);
  void encode(Encoder& to) const { write(to); }
};

template <typename Container, typename... Values>
void ignoringErrors(Container&& to, const Values&... values) {
  try {
    to.encode(values...);
  } catch (const EncodingError&) {
  }
}

void writeTwoValues(Encoder& to) {
  auto value = to.singleValueContainer();
  value.encode(1);
  value.encodeNil();
}

void writeTwoContainers(Encoder& to) {
  const auto open = to.unkeyedContainer();
  to.container().encode("a", 1);
}

void failAtMembers(Encoder& to) {
  auto members = to.container();
  ignoringErrors(members, "a", nan);
  members.encode("b", 1);
  ignoringErrors(members, "c", std::vector{1.0, nan});
  ignoringErrors(members, "d\xFF", 1);
  members.encode("e", 2);
}

void failAtElements(Encoder& to) {
  auto elements = to.unkeyedContainer();
  ignoringErrors(elements, std::map<std::string, double>{{"a", 1}, {"b", nan}});
  elements.encode("x");
  ignoringErrors(elements, Note("\xFF"));
  elements.encode(1);
}

void failPieceByPiece(Encoder& to) {
  auto value = to.streamContainer();
  value.beginArray();
  value.beginArray();
  ignoringErrors(value, nan);
  value.end();
  ignoringErrors(value, "\xFF");
  value.beginObject();
  value.key("a");
  ignoringErrors(value, nan);
  value.key("b");
  value.encode(true);
  value.key("c");
  ignoringErrors(value, nan);
  value.end();
  value.end();
}

void stopHalfway(Encoder& to) {
  auto value = to.streamContainer();
  value.beginObject();
  value.key("a");
}

void failAndSubstitute(Encoder& to) {
  ignoringErrors(to.singleValueContainer(), std::vector{1.0, nan});
  to.singleValueContainer().encode("not finite");
}

TEST(JSONEncoder, WritesAValueByOneContainerAndNothingOfWhatFailed) {
  const std::string nothing = "invalidValue [Index 0] The value did not encode anything.";
  const std::string second = "invalidValue [Index 0] The value asks for a second container.";
  const struct {
    const char* name;
    Record record;
    std::string expected;
  } rows[] = {
      {"no member", {[](Encoder& to) { to.container(); }}, "[{}]"},
      {"null", {[](Encoder& to) { to.singleValueContainer().encodeNil(); }}, "[null]"},
      {"no container", {[](Encoder&) {}}, nothing},
      {"no value", {[](Encoder& to) { to.singleValueContainer(); }}, nothing},
      {"no good value",
       {[](Encoder& to) { ignoringErrors(to.singleValueContainer(), nan); }},
       nothing},
      {"two values", {writeTwoValues}, second},
      {"two containers", {writeTwoContainers}, second},
      {"members", {failAtMembers}, R"([{"b":1,"e":2}])"},
      {"elements", {failAtElements}, R"([["x",1]])"},
      {"single value", {failAndSubstitute}, R"(["not finite"])"},
      {"piece by piece", {failPieceByPiece}, R"([[[],{"b":true}]])"},
      {"no good piece", {[](Encoder& to) { ignoringErrors(to.streamContainer(), nan); }}, nothing},
      {"half a value", {stopHalfway}, nothing}};
  for (const auto& row : rows) EXPECT_EQ(json(std::vector{row.record}), row.expected) << row.name;
}

}  // namespace
}  // namespace tarvex
