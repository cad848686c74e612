#include "TarvexCommon/Base/JSON/Encoder.h"

#include <charconv>
#include <cmath>
#include <cstring>

#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

constexpr char noSuffix = 0;

template <typename Number>
void addNumber(coding::Output& json, Number value) {
  constexpr std::size_t longest = 32;
  char* const start = json.room(longest);
  json.added(static_cast<std::size_t>(std::to_chars(start, start + longest, value).ptr - start));
}

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

constexpr std::uint64_t everyByte(unsigned char byte) { return 0x0101010101010101U * byte; }

// The highest bit of a byte is set, perhaps that of a later one too, where one of eight
// characters is not ASCII or needs an escape.
constexpr std::uint64_t specialMarks(std::uint64_t characters) {
  const auto below = [](std::uint64_t bytes, unsigned char limit) {
    return (bytes - everyByte(limit)) & ~bytes;
  };
  return characters | below(characters, 0x20) | below(characters ^ everyByte('"'), 1) |
         below(characters ^ everyByte('\\'), 1);
}

// Copies a text of n to 2n characters, n the size of a half, as two halves that may overlap;
// returns their marks.
template <typename Half>
std::uint64_t copyHalves(std::string_view from, char* to) {
  constexpr unsigned bits = 8 * sizeof(Half);
  constexpr std::uint64_t plain = bits == 32 ? 0 : everyByte(' ') << 2 * bits % 64;
  const std::size_t rest = from.size() - sizeof(Half);
  Half first = 0, last = 0;
  std::memcpy(&first, from.data(), sizeof first);
  std::memcpy(&last, from.data() + rest, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + rest, &last, sizeof last);
  return specialMarks(first | std::uint64_t{last} << bits | plain);
}

// Copies a text of eight characters and more; returns their marks.
std::uint64_t copyWords(std::string_view from, char* to) {
  std::uint64_t word = 0, marks = 0;
  const auto copy = [&](std::size_t at) {
    std::memcpy(&word, from.data() + at, sizeof word);
    std::memcpy(to + at, &word, sizeof word);
    marks |= specialMarks(word);
  };
  const std::size_t last = from.size() - sizeof word;
  for (std::size_t at = 0; at < last; at += sizeof word) copy(at);
  copy(last);  // may overlap the one before
  return marks;
}

std::uint64_t copyMarking(std::string_view from, char* to) {
  if (from.size() >= 8) return copyWords(from, to);
  if (from.size() >= 4) return copyHalves<std::uint32_t>(from, to);
  if (from.size() >= 2) return copyHalves<std::uint16_t>(from, to);
  return from.empty() ? 0 : copyHalves<std::uint8_t>(from, to);
}

// Adds a text that is as simple as most, ASCII without escapes, in quotes. Returns false, and
// adds nothing, when it is not.
bool addPlain(coding::Output& json, std::string_view value, char suffix) {
  char* const start = json.room(value.size() + 3);
  if ((copyMarking(value, start + 1) & everyByte(0x80)) != 0) return false;
  start[0] = start[value.size() + 1] = '"';
  start[value.size() + 2] = suffix;
  json.added(value.size() + 2 + (suffix == noSuffix ? 0 : 1));
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

void addString(coding::Output& json, std::string_view value) {
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
  if (level.close == ']' && level.count++ > 0) encoder_->json_->add(',');
}

void StreamEncodingContainer::key(std::string_view key) {
  Level& level = levels_.back();
  if (level.count++ > 0) encoder_->json_->add(',');
  level.key = key;
  add([&] { encoder_->text(key, ':'); });
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
  add([&] { encoder_->text(value); });
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
  else addNumber(*json_, value);
}

void Encoder::integer(std::int64_t value) { addNumber(*json_, value); }

void Encoder::unsignedInteger(std::uint64_t value) { addNumber(*json_, value); }

void Encoder::text(std::string_view value, char suffix) {
  if (!addPlain(*json_, value, suffix)) specialText(value, suffix);
}

void Encoder::specialText(std::string_view value, char suffix) {
  if (!isUTF8(value)) refuse("Unable to encode a text that is not UTF-8.");
  addString(*json_, value);
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
