// JSON whose shape is not known in advance, and dates, against the libraries that one would
// take instead.
//
//   json.decode/nlohmann         a text of 75 kB to a JSONValue against nlohmann::json::parse;
//                                both destroy what they have read
//   json.decode/rapidjson        against a RapidJSON document; with ".full", one whose numbers
//                                are exact and whose texts are checked to be UTF-8, as ours are
//   json.encode/nlohmann         the same JSONValue to a text against nlohmann's dump
//   json.encode/rapidjson        against a RapidJSON writer; with ".full", one that checks its
//                                texts as ours are
//   json.decode, json.encode     the times of ours; with ".throughput", how much text a second
//   date.parse/glib              Date::fromRfc3339 against g_date_time_new_from_iso8601
//   date.format/strftime         Date::toRfc3339 against gmtime_r, strftime and the fraction
//   date.parse, date.format      the times of ours
//
// A ratio above 1 says that ours is faster.

#include <glib.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "TarvexCommon/Common/JSONValue.h"
#include "benchmarks/Support/Check.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"

namespace {

using bench::check;
using tarvex::Date;
using tarvex::JSONDecoder;
using tarvex::JSONEncoder;
using tarvex::JSONValue;

constexpr std::size_t recordCount = 282;
constexpr std::size_t dateCount = 256;
constexpr auto perContender = std::chrono::milliseconds(15);

// Every ninety days from 1970 on, at any time of the day.
Date date(std::size_t number) {
  return Date::fromTimeIntervalSince1970(static_cast<double>(number * 7'777'777'777) / 1000);
}

// The shortest text of a number between -180 and 180; of most it has 15 to 17 digits.
std::string longNumber(std::uint64_t seed) {
  const std::uint64_t mixed = (seed + 1) * 0x9E3779B97F4A7C15;
  const double number = static_cast<double>(mixed >> 11) * 0x1p-53 * 360 - 180;
  std::array<char, 32> text{};
  std::to_chars(text.data(), text.data() + text.size(), number);
  return text.data();
}

// One of an API's answers; about 270 bytes.
std::string record(std::size_t i) {
  static constexpr std::array names = {"Anna Smith",    "Zoë Müller", "John Brown",
                                       "Łukasz Wójcik", "Jane Doe",   "山田太郎"};
  static constexpr std::array notes = {R"("first line\nsecond line")", "null",
                                       R"("said \"yes\" in the Caf\u00e9")",
                                       R"("nothing to report")", R"("")"};
  static constexpr std::array tags = {R"("new","paid")", R"("urgent")", "", R"("a","b","été")"};
  std::array<char, 512> text;
  std::snprintf(text.data(), text.size(),
                R"({"id":%zu,"name":"%s","active":%s,"age":%zu,"price":%zu.%zu,"parent":%s,)"
                R"("created":"%s","note":%s,"tags":[%s],)"
                R"("address":{"city":"Town %zu","geo":{"lat":%s,"lon":%s},"lines":[%zu,null]}})",
                100000 + 7 * i, names[i % names.size()], i % 3 == 0 ? "false" : "true", i % 90,
                i % 50, 1 + i % 9, i % 4 == 0 ? "null" : "1", Date::toRfc3339(date(i)).c_str(),
                notes[i % notes.size()], tags[i % tags.size()], i % 40, longNumber(2 * i).c_str(),
                longNumber(2 * i + 1).c_str(), i % 7);
  return text.data();
}

std::string makeDocument() {
  std::string text;
  for (std::size_t i = 0; i < recordCount; ++i) text.append(i == 0 ? "[" : ",").append(record(i));
  return text + ']';
}

template <unsigned flags>
rapidjson::Document readWithRapidJSON(const std::string& text) {
  rapidjson::Document document;
  document.Parse<flags>(text.c_str());
  check(!document.HasParseError() && document.Size() == recordCount);
  return document;
}

template <unsigned flags>
rapidjson::StringBuffer writeWithRapidJSON(const rapidjson::Document& document) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                    rapidjson::CrtAllocator, flags>
      writer(buffer);
  check(document.Accept(writer));
  return buffer;
}

void measureJSON(int rounds) {
  constexpr unsigned parseFully =
      rapidjson::kParseFullPrecisionFlag | rapidjson::kParseValidateEncodingFlag;
  const std::string text = makeDocument();
  const auto ours = JSONDecoder().decode<JSONValue>(text);
  const auto nlohmann = nlohmann::json::parse(text);
  const auto rapidJSON = readWithRapidJSON<parseFully>(text);
  check(nlohmann::json::parse(JSONEncoder().encode(ours)) == nlohmann);
  check(nlohmann::json::parse(
            writeWithRapidJSON<rapidjson::kWriteNoFlags>(rapidJSON).GetString()) == nlohmann);

  bench::Rounds measured({
      {"decode", [&](std::size_t) { (void)JSONDecoder().decode<JSONValue>(text); }},
      {"nlohmann.parse",
       [&](std::size_t) { check(nlohmann::json::parse(text).size() == recordCount); }},
      {"rapidjson.parse",
       [&](std::size_t) { (void)readWithRapidJSON<rapidjson::kParseDefaultFlags>(text); }},
      {"rapidjson.parse.full", [&](std::size_t) { (void)readWithRapidJSON<parseFully>(text); }},
      {"encode", [&](std::size_t) { (void)JSONEncoder().encode(ours); }},
      {"nlohmann.dump", [&](std::size_t) { (void)nlohmann.dump(); }},
      {"rapidjson.write",
       [&](std::size_t) { (void)writeWithRapidJSON<rapidjson::kWriteNoFlags>(rapidJSON); }},
      {"rapidjson.write.full",
       [&](std::size_t) {
         (void)writeWithRapidJSON<rapidjson::kWriteValidateEncodingFlag>(rapidJSON);
       }},
  });
  measured.run(rounds, perContender);

  measured.reportRatio("json.decode/nlohmann", "decode", "nlohmann.parse");
  measured.reportRatio("json.decode/rapidjson", "decode", "rapidjson.parse");
  measured.reportRatio("json.decode/rapidjson.full", "decode", "rapidjson.parse.full");
  measured.reportRatio("json.encode/nlohmann", "encode", "nlohmann.dump");
  measured.reportRatio("json.encode/rapidjson", "encode", "rapidjson.write");
  measured.reportRatio("json.encode/rapidjson.full", "encode", "rapidjson.write.full");
  measured.reportTime("json.decode", "decode");
  measured.reportTime("json.encode", "encode");
  measured.reportThroughput("json.decode.throughput", "decode", text.size());
  measured.reportThroughput("json.encode.throughput", "encode", JSONEncoder().encode(ours).size());
}

std::int64_t milliseconds(Date date) { return std::llround(date.timeIntervalSince1970() * 1000); }

std::int64_t parseWithGLib(const std::string& text) {
  GDateTime* date = g_date_time_new_from_iso8601(text.c_str(), nullptr);
  check(date != nullptr);
  const std::int64_t seconds = g_date_time_to_unix(date);
  const std::int64_t microseconds = g_date_time_get_microsecond(date);
  g_date_time_unref(date);
  return 1000 * seconds + (microseconds + 500) / 1000;
}

std::string formatWithStrftime(Date date) {
  const std::int64_t instant = milliseconds(date);
  const std::time_t seconds = instant / 1000;
  std::tm calendar;
  std::array<char, 64> text;
  gmtime_r(&seconds, &calendar);
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &calendar);
  std::snprintf(text.data() + size, text.size() - size, ".%03dZ", static_cast<int>(instant % 1000));
  return text.data();
}

void measureDates(int rounds) {
  std::vector<Date> dates;
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < dateCount; ++i) {
    dates.push_back(date(i));
    texts.push_back(Date::toRfc3339(dates[i]));
    check(formatWithStrftime(dates[i]) == texts[i]);
    check(Date::fromRfc3339(texts[i]) == dates[i]);
    check(parseWithGLib(texts[i]) == milliseconds(dates[i]));
  }

  bench::Rounds measured({
      {"parse", [&](std::size_t i) { (void)Date::fromRfc3339(texts[i % dateCount]); }},
      {"glib",
       [&](std::size_t i) {
         g_date_time_unref(g_date_time_new_from_iso8601(texts[i % dateCount].c_str(), nullptr));
       }},
      {"format", [&](std::size_t i) { (void)Date::toRfc3339(dates[i % dateCount]); }},
      {"strftime", [&](std::size_t i) { (void)formatWithStrftime(dates[i % dateCount]); }},
  });
  measured.run(rounds, perContender);

  measured.reportRatio("date.parse/glib", "parse", "glib");
  measured.reportRatio("date.format/strftime", "format", "strftime");
  measured.reportTime("date.parse", "parse");
  measured.reportTime("date.format", "format");
}

void measure(int rounds) {
  measureJSON(rounds);
  measureDates(rounds);
}

}  // namespace

int main(int argc, char** argv) { return bench::runProgram(argc, argv, measure); }
