#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "TarvexCommon/Common/JSONValue.h"
#include "tests/Support/Errors.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

using Case = JSONValue::Case;
using Members = std::vector<JSONValue::Member>;

const std::string texts = ownVectors + "JSON.txt";
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

JSONValue read(std::string_view json) { return JSONDecoder().decode<JSONValue>(json); }

std::string written(const JSONValue& value) {
  try {
    return JSONEncoder().encode(value);
  } catch (const EncodingError& error) {
    return describe(error);
  }
}

// An array in an object in an array ..., so many levels deep, around `core`.
JSONValue nested(int levels, JSONValue core) {
  for (int i = 0; i < levels; ++i) {
    core = i % 2 == 0 ? JSONValue::object({{"k", core}}) : JSONValue::array({core});
  }
  return core;
}

TEST(JSONValue, ReadsAllThatIsJSONAndNothingElse) {
  for (const Vector& row : readVectors(texts, "read")) {
    SCOPED_TRACE(row.trace() + ' ' + row.raw("json"));
    const auto value = JSONDecoder().decode<std::optional<JSONValue>>(row.text("json"));
    EXPECT_EQ(value.has_value(), row.text("json").find("null") != 0);
    EXPECT_TRUE(!value || read(written(*value)) == *value);
  }
  for (const Vector& row : readVectors(texts, "refused")) {
    SCOPED_TRACE(row.trace() + ' ' + row.raw("json"));
    EXPECT_THROW(read(row.text("json")), DecodingError);
  }
}

TEST(JSONValue, TakesEachTextForItsCase) {
  const struct {
    const char* json;
    JSONValue value;
    const char* written;
  } rows[] = {
      {"true", true, "true"},
      {"1", 1, "1"},
      {"1.0", 1.0, "1"},
      {"-0", -0.0, "-0"},
      {"[-0,-0.0,\"-0\"]", JSONValue::array({-0.0, -0.0, "-0"}), "[-0,-0,\"-0\"]"},
      {"2.5E-1", 0.25, "0.25"},
      {"9007199254740993", 9007199254740993, "9007199254740992"},
      {R"("1")", "1", R"("1")"},
      {R"("a\u0000\n")", std::string("a\0\n", 3), R"("a\u0000\n")"},
      {"[]", JSONValue::array({}), "[]"},
      {"{}", JSONValue::object({}), "{}"},
      {R"([1,null,"x"])", JSONValue::array({1, std::nullopt, "x"}), R"([1,null,"x"])"},
      {R"({"a":null,"b":{"c":[null]}})",
       JSONValue::object({{"a", std::nullopt},
                          {"b", JSONValue::object({{"c", JSONValue::array({std::nullopt})}})}}),
       R"({"a":null,"b":{"c":[null]}})"},
      {R"({"a":1,"a":2,"Å":3,"Å":4})", JSONValue::object({{"a", 1}, {"Å", 3}}), R"({"a":1,"Å":3})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    const JSONValue value = read(row.json);
    EXPECT_EQ(value, row.value);
    EXPECT_EQ(value.valueCase(), row.value.valueCase());
    EXPECT_EQ(written(value), row.written);
  }
}

TEST(JSONValue, IsNoNull) {
  const auto error = thrown<JSONValue::JSONValueDecodingError>([] { read("null"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->message, "could not decode a valid JSONValue");
  EXPECT_EQ(JSONDecoder().decode<std::optional<JSONValue>>(Bytes("null")), std::nullopt);
}

TEST(JSONValue, IsEqualByCaseAndPayload) {
  const struct {
    JSONValue first;
    JSONValue second;
    bool areEqual;
  } rows[] = {
      {3, 3.0, true},
      {true, 1, false},
      {nan, nan, false},
      {0.0, -0.0, true},
      {"a", "A", false},
      {"\u00e9", "e\u0301", true},
      {"e", "e\u0301", false},
      {"\u212b", "\u00c5", true},
      {JSONValue::array({std::nullopt}), JSONValue::array({std::nullopt}), true},
      {JSONValue::array({std::nullopt}), JSONValue::array({}), false},
      {JSONValue::array({std::nullopt}), JSONValue::array({false}), false},
      {JSONValue::array({1, 2}), JSONValue::array({2, 1}), false},
      {JSONValue::array({}), JSONValue::object({}), false},
      {read(R"({"a":1,"b":2})"), read(R"({"b":2,"a":1})"), true},
      {read(R"({"a":1,"b":2})"), read(R"({"a":1,"c":2})"), false},
      {read(R"({"a":null})"), read("{}"), false},
      {read(R"({"a":null})"), read(R"({"a":0})"), false},
      {read("{\"\u00e9\":[1]}"), read("{\"e\u0301\":[1]}"), true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(written(row.first) + " and " + written(row.second));
    EXPECT_EQ(row.first == row.second, row.areEqual);
    EXPECT_EQ(row.second == row.first, row.areEqual);
    EXPECT_EQ(row.first == JSONValue(row.first), !std::isnan(row.first.get<double>().value_or(0)));
  }
}

TEST(JSONValue, IsWrittenWithKeysOfAnyCharacters) {
  const std::pair<std::string, std::string> rows[] = {
      {"plain", "plain"}, {"Zoë", "Zoë"}, {"a\nb", R"(a\nb)"}, {"\"é", R"(\"é)"}, {"", ""}};
  for (const auto& [text, json] : rows) {
    const auto value = JSONValue::object({{text, text}, {text + '1', JSONValue::array({text, 1})}});
    EXPECT_EQ(written(value),
              "{\"" + json + "\":\"" + json + "\",\"" + json + "1\":[\"" + json + "\",1]}");
  }
}

TEST(JSONValue, IsRefusedWithItsPlaceWhereJSONCannotHoldIt) {
  const JSONValue value =
      JSONValue::object({{"a", JSONValue::array({1, JSONValue::object({{"b", nan}})})}});
  EXPECT_EQ(written(value),
            "invalidValue [a, Index 1, b] Unable to encode Double.nan directly in JSON.");
  EXPECT_THAT(written(JSONValue::array({"ok", "\xff"})),
              testing::StartsWith("invalidValue [Index 1]"));
  EXPECT_THAT(written(JSONValue::object({{"\xff", 1}})),
              testing::StartsWith("invalidValue [\xff]"));
  EXPECT_EQ(JSONEncoder().encode(std::map<std::string, JSONValue>{{"m", true}}), R"({"m":true})");
}

TEST(JSONValue, MayBeAMillionLevelsDeep) {
  constexpr int deep = 1'000'000;
  const JSONValue value = nested(deep, "core");
  JSONValue copy = value;
  EXPECT_EQ(copy, value);
  EXPECT_FALSE(copy == nested(deep, "other"));
  EXPECT_EQ(written(copy).size(), deep / 2 * std::string("[]{\"k\":}").size() + 6);
  copy = nested(deep, 1);
  EXPECT_EQ(written(nested(3, nan)).substr(0, 27), "invalidValue [k, Index 0, k");
  EXPECT_EQ(read(written(nested(512, 1))), nested(512, 1));
}

TEST(JSONValue, StopsAtAKeyThatALiteralRepeats) {
  EXPECT_DEATH(JSONValue::object({{"a", 1}, {"a", 2}}), "duplicate keys");
  EXPECT_DEATH(JSONValue::object({{"\u00e9", 1}, {"e\u0301", 1}}), "duplicate keys");
}

TEST(JSONValue, GivesItsPayloadAndNothingOfAnotherCase) {
  const JSONValue value = read(R"({"list":[true,null,2.5,"four"],"gone":null})");
  EXPECT_EQ(value.get<bool>(), std::nullopt);
  EXPECT_TRUE(value.elements().empty());
  std::string seen;
  for (const auto& [key, member] : value.members()) {
    seen += key + '=';
    if (!member) continue;
    EXPECT_TRUE(member->members().empty());
    for (const auto& element : member->elements()) {
      seen += element ? JSONEncoder().encode(*element) + ' ' : "absent ";
    }
  }
  EXPECT_EQ(seen, "list=true absent 2.5 \"four\" gone=");
  const auto list = value.members().find("list")->elements();
  EXPECT_EQ(list[0]->get<bool>(), true);
  EXPECT_EQ(list[2]->get<double>(), 2.5);
  EXPECT_EQ(list[3]->get<std::string_view>(), "four");
  EXPECT_EQ(list[3]->get<double>(), std::nullopt);
}

// Each of them is all that is left of the text that it was read from.
TEST(JSONValue, HoldsTextsOfAnyLength) {
  for (std::size_t length = 0; length <= 300; ++length) {
    SCOPED_TRACE(length);
    const std::string text(length, 'x');
    EXPECT_EQ(read('"' + text + '"').get<std::string>(), text);
    const JSONValue list = read("[1,\"" + text + "\",{\"" + text + "\":[]}]");
    EXPECT_EQ(list.elements()[1]->get<std::string>(), text);
    EXPECT_EQ(list.elements()[2]->members()[0].key, text);
  }
}

TEST(JSONValue, OutlivesWhatItWasTakenFrom) {
  JSONValue part = read(R"([["a text that is longer than a string holds in itself"]])");
  part = *part.elements()[0];
  part = JSONValue::object({{"part", *part.elements()[0]}, {"none", std::nullopt}});
  part = *part.members().find("part");
  EXPECT_EQ(part.get<std::string>(), "a text that is longer than a string holds in itself");
  const JSONValue moved = std::move(part);
  EXPECT_EQ(part, JSONValue(false));  // NOLINT(bugprone-use-after-move)
}

// Few members are searched one after the other, many by an index.
TEST(JSONValue, FindsMembersByCanonicalEquivalence) {
  for (const int others : {0, 3, 40}) {
    SCOPED_TRACE(others);
    Members members;
    std::string json = "{";
    for (int i = 0; i < others; ++i) {
      members.push_back({"other" + std::to_string(i), i});
      json += "\"other" + std::to_string(i) + "\":" + std::to_string(i) + ',';
    }
    members.push_back({"\u00e9", 1});
    members.push_back({"absent", std::nullopt});
    json += "\"\u00e9\":1,\"e\u0301\":2,\"absent\":null,\"absent\":0}";
    for (const JSONValue& made : {JSONValue::object(members), read(json)}) {
      const auto object = made.members();
      EXPECT_EQ(object.find("e\u0301"), JSONValue(1));
      EXPECT_EQ(object.find("absent"), std::nullopt);
      EXPECT_TRUE(object.contains("absent"));
      EXPECT_FALSE(object.contains("e"));
      ASSERT_EQ(object.size(), static_cast<std::size_t>(others) + 2);
      EXPECT_EQ(object[static_cast<std::size_t>(others)].key, "\u00e9");
      EXPECT_EQ(object.find("other2").has_value(), others > 0);
    }
    EXPECT_EQ(JSONValue::object(members), read(json));
    members.push_back({"e\u0301", 1});
    EXPECT_DEATH(JSONValue::object(members), "duplicate keys");
  }
}

static_assert(!std::constructible_from<JSONValue, std::nullptr_t>);
static_assert(!std::constructible_from<JSONValue, char>);
static_assert(!std::constructible_from<JSONValue, const void*>);

}  // namespace
}  // namespace tarvex
