#include "TarvexCommon/Base/JSON/Encoder.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/JSON/ShortestDecimal.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

constexpr char noSuffix = 0;

template <typename Integer>
void addInteger(coding::Output& json, Integer value) {
  constexpr std::size_t longest = 20;
  char* const start = json.room(longest);
  json.added(static_cast<std::size_t>(std::to_chars(start, start + longest, value).ptr - start));
}

void addDouble(coding::Output& json, double value) {
  char* const start = json.room(coding::longestDecimal);
  json.added(static_cast<std::size_t>(coding::writeShortestDecimal(start, value) - start));
}

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

using Characters [[gnu::vector_size(16)]] = unsigned char;
using Words [[gnu::vector_size(16)]] = std::uint64_t;
using Marks [[gnu::vector_size(16)]] = signed char;  // not zero where a character is marked

Marks escapes(Characters characters) {
  return (characters < ' ') | (characters == '"') | (characters == '\\');
}

// Marks what is not ASCII too, which as a signed character is below zero.
Marks specials(Characters characters) {
  return (std::bit_cast<Marks>(characters) < ' ') | (characters == '"') | (characters == '\\');
}

using Marking = Marks(Characters);

bool any(Marks marks) {
  const auto words = std::bit_cast<Words>(marks);
  return (words[0] | words[1]) != 0;
}

template <typename Part>
Part copyPart(std::string_view from, std::size_t at, char* to) {
  Part part;
  std::memcpy(&part, from.data() + at, sizeof part);
  std::memcpy(to + at, &part, sizeof part);
  return part;
}

// Copies a text of n to 2n characters, n the size of a half, as two halves that may overlap.
// Spaces take the places of what they do not fill.
template <typename Half>
Characters copyHalves(std::string_view from, char* to) {
  constexpr unsigned bits = 8 * sizeof(Half);
  constexpr std::uint64_t spaces = 0x2020202020202020;
  const auto first = std::uint64_t{copyPart<Half>(from, 0, to)};
  const auto last = std::uint64_t{copyPart<Half>(from, from.size() - sizeof(Half), to)};
  if constexpr (bits == 64) return std::bit_cast<Characters>(Words{first, last});
  const std::uint64_t both = first | last << bits % 64 | (bits < 32 ? spaces << 2 * bits % 64 : 0);
  return std::bit_cast<Characters>(Words{both, both});
}

// Copies a text of sixteen characters and more; returns their marks.
template <Marking marksOf>
Marks copyVectors(std::string_view from, char* to) {
  const std::size_t last = from.size() - sizeof(Characters);
  Marks marks = marksOf(copyPart<Characters>(from, last, to));
  for (std::size_t at = 0; at < last; at += sizeof(Characters)) {
    marks |= marksOf(copyPart<Characters>(from, at, to));
  }
  return marks;
}

template <Marking marksOf>
Marks copyMarking(std::string_view from, char* to) {
  if (from.size() >= 16) return copyVectors<marksOf>(from, to);
  if (from.size() >= 8) return marksOf(copyHalves<std::uint64_t>(from, to));
  if (from.size() >= 4) return marksOf(copyHalves<std::uint32_t>(from, to));
  if (from.size() >= 2) return marksOf(copyHalves<std::uint16_t>(from, to));
  return from.empty() ? Marks{} : marksOf(copyHalves<std::uint8_t>(from, to));
}

// Adds a comma where one is due.
void addComma(coding::Output& json, bool isDue) {
  *json.room(1) = ',';
  json.added(isDue ? 1 : 0);
}

// Adds a text in quotes, with a comma in front where one is due, unless a character is marked:
// then it returns false and adds nothing. Most texts have none, and are copied before that is
// known.
template <Marking marksOf>
bool addUnmarked(coding::Output& json, bool isCommaDue, std::string_view value, char suffix) {
  char* to = json.room(value.size() + 4);
  *to = ',';
  to += isCommaDue ? 1 : 0;
  if (any(copyMarking<marksOf>(value, to + 1))) return false;
  to[0] = to[value.size() + 1] = '"';
  to[value.size() + 2] = suffix;
  json.added(value.size() + 2 + (isCommaDue ? 1 : 0) + (suffix != noSuffix ? 1 : 0));
  return true;
}

void addEscape(coding::Output& json, char c) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\bfnrt";
  constexpr std::string_view hex = "0123456789abcdef";
  json.add('\\');
  if (const auto at = named.find(c); at != std::string_view::npos) {
    json.add(letters[at]);
  } else {
    json.add("u00");
    json.add(hex[static_cast<std::size_t>(c) >> 4]);
    json.add(hex[static_cast<std::size_t>(c) & 15]);
  }
}

void addEscaped(coding::Output& json, std::string_view value) {
  json.add('"');
  std::size_t added = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (!needsEscape(value[i])) continue;
    json.add(value.substr(added, i - added));
    addEscape(json, value[i]);
    added = i + 1;
  }
  json.add(value.substr(added));
  json.add('"');
}

}  // namespace

// There is always room for the end: a destructor that has to make some could not fail.
EncodingContainer::EncodingContainer(Encoder& encoder, char open, char close)
    : encoder_(&encoder), close_(close) {
  encoder_->json_->add(open);
  encoder_->json_->room(1);
}

EncodingContainer::~EncodingContainer() { encoder_->json_->add(close_); }

CodingPath EncodingContainer::codingPath() const { return encoder_->codingPath(); }

void SingleValueEncodingContainer::encodeNil() {
  encoder_->begin();
  encoder_->null();
}

CodingPath SingleValueEncodingContainer::codingPath() const { return encoder_->codingPath(); }

void StreamEncodingContainer::begin(char open, char close) {
  beginValue();
  encoder_->json_->add(open);
  levels_.push_back({.close = close, .count = 0, .key = {}});
}

void StreamEncodingContainer::end() {
  encoder_->json_->add(levels_.back().close);
  levels_.pop_back();
}

void StreamEncodingContainer::beginValue() {
  if (levels_.empty()) return encoder_->begin();
  Level& level = levels_.back();
  if (level.close == ']') addComma(*encoder_->json_, level.count++ > 0);
}

void StreamEncodingContainer::key(std::string_view key) {
  Level& level = levels_.back();
  const bool isCommaDue = level.count++ > 0;
  level.key = key;
  if (addUnmarked<specials>(*encoder_->json_, isCommaDue, key, ':')) return;
  addComma(*encoder_->json_, isCommaDue);
  add([&] { encoder_->specialText(key, ':'); });
}

template <typename Write>
void StreamEncodingContainer::add(Write write) {
  try {
    write();
  } catch (const EncodingError& error) {
    throw EncodingError::invalidValue({codingPath(), error.debugDescription()});
  }
}

void StreamEncodingContainer::encodeNil() {
  beginValue();
  encoder_->null();
}

void StreamEncodingContainer::encode(bool value) {
  beginValue();
  encoder_->boolean(value);
}

void StreamEncodingContainer::encode(double value) {
  beginValue();
  add([&] { encoder_->number(value); });
}

void StreamEncodingContainer::encode(std::string_view value) {
  beginValue();
  if (addUnmarked<specials>(*encoder_->json_, false, value, noSuffix)) return;
  add([&] { encoder_->specialText(value, noSuffix); });
}

CodingPath StreamEncodingContainer::codingPath() const {
  CodingPath path = encoder_->codingPath();
  for (const Level& level : levels_) {
    path.push_back(level.close == '}' ? std::string(level.key)
                                      : "Index " + std::to_string(level.count - 1));
  }
  return path;
}

StreamEncodingContainer Encoder::streamContainer() { return StreamEncodingContainer(*this); }

KeyedEncodingContainer Encoder::container() {
  begin();
  return KeyedEncodingContainer(*this);
}

UnkeyedEncodingContainer Encoder::unkeyedContainer() {
  begin();
  return UnkeyedEncodingContainer(*this);
}

SingleValueEncodingContainer Encoder::singleValueContainer() {
  return SingleValueEncodingContainer(*this);
}

void Encoder::null() { json_->add("null"); }

void Encoder::boolean(bool value) { json_->add(value ? "true" : "false"); }

void Encoder::number(double value) {
  if (!std::isfinite(value)) {
    refuse(std::isnan(value) ? "Unable to encode Double.nan directly in JSON."
           : value < 0       ? "Unable to encode Double.-inf directly in JSON."
                             : "Unable to encode Double.inf directly in JSON.");
  }
  const auto whole = std::abs(value) < 0x1p53 ? static_cast<std::int64_t>(value) : 0;
  if (whole != 0 && static_cast<double>(whole) == value) integer(whole);
  else addDouble(*json_, value);
}

void Encoder::integer(std::int64_t value) { addInteger(*json_, value); }

void Encoder::unsignedInteger(std::uint64_t value) { addInteger(*json_, value); }

void Encoder::text(std::string_view value, char suffix) {
  if (!addUnmarked<specials>(*json_, false, value, suffix)) specialText(value, suffix);
}

void Encoder::specialText(std::string_view value, char suffix) {
  if (!isUTF8(value)) refuse("Unable to encode a text that is not UTF-8.");
  if (addUnmarked<escapes>(*json_, false, value, suffix)) return;
  addEscaped(*json_, value);
  if (suffix != noSuffix) json_->add(suffix);
}

void Encoder::date(Date value) {
  Encoder own(*this, Same{});
  dates_->rule_(value, own);
  own.finish();
}

void Encoder::begin() {
  if (hasBegun_) refuse("The value asks for a second container.");
  hasBegun_ = true;
}

void Encoder::finish() const {
  if (!hasBegun_) refuse("The value did not encode anything.");
}

void Encoder::refuse(std::string_view why) const {
  throw EncodingError::invalidValue({codingPath(), std::string(why)});
}

}  // namespace tarvex
