#include "TarvexCommon/Base/JSON/Encoder.h"

#include <array>
#include <charconv>
#include <cmath>

#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

template <typename Number, typename... Format>
void appendNumber(std::string& json, Number value, Format... format) {
  std::array<char, 32> digits;
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, format...).ptr;
  json.append(digits.data(), end);
}

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

// Whether a text is as simple as most: ASCII without escapes.
bool isPlain(std::string_view text) {
  unsigned special = 0;
  for (const char c : text) {
    special |= static_cast<unsigned>(needsEscape(c)) | static_cast<unsigned char>(c) >> 7;
  }
  return special == 0;
}

void appendEscape(std::string& json, char c) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\bfnrt";
  constexpr std::string_view hex = "0123456789abcdef";
  json += '\\';
  if (const auto at = named.find(c); at != std::string_view::npos) {
    json += letters[at];
  } else {
    json += "u00";
    json += hex[static_cast<std::size_t>(c) >> 4];
    json += hex[static_cast<std::size_t>(c) & 15];
  }
}

void appendString(std::string& json, std::string_view value) {
  json += '"';
  std::size_t copied = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (!needsEscape(value[i])) continue;
    json += value.substr(copied, i - copied);
    appendEscape(json, value[i]);
    copied = i + 1;
  }
  json += value.substr(copied);
  json += '"';
}

}  // namespace

EncodingContainer::EncodingContainer(Encoder& encoder, char open, char close)
    : encoder_(&encoder), close_(close) {
  *encoder_->json_ += open;
}

EncodingContainer::~EncodingContainer() { *encoder_->json_ += close_; }

CodingPath EncodingContainer::codingPath() const { return encoder_->codingPath(); }

void SingleValueEncodingContainer::encodeNil() {
  encoder_->begin();
  encoder_->null();
}

CodingPath SingleValueEncodingContainer::codingPath() const { return encoder_->codingPath(); }

void StreamEncodingContainer::begin(char open, char close) {
  beginValue();
  *encoder_->json_ += open;
  levels_.push_back({.close = close, .count = 0, .key = {}});
}

void StreamEncodingContainer::end() {
  *encoder_->json_ += levels_.back().close;
  levels_.pop_back();
}

void StreamEncodingContainer::beginValue() {
  if (levels_.empty()) return encoder_->begin();
  Level& level = levels_.back();
  if (level.close == ']' && level.count++ > 0) *encoder_->json_ += ',';
}

void StreamEncodingContainer::key(std::string_view key) {
  Level& level = levels_.back();
  if (level.count++ > 0) *encoder_->json_ += ',';
  level.key = key;
  add([&] { encoder_->text(key); });
  *encoder_->json_ += ':';
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

void Encoder::null() { *json_ += "null"; }

void Encoder::boolean(bool value) { *json_ += value ? "true" : "false"; }

void Encoder::number(double value) {
  if (std::isnan(value)) refuse("Unable to encode Double.nan directly in JSON.");
  if (std::isinf(value)) {
    refuse(value < 0 ? "Unable to encode Double.-inf directly in JSON."
                     : "Unable to encode Double.inf directly in JSON.");
  }
  const bool isWhole = std::abs(value) < 0x1p53 && value == std::trunc(value);
  if (isWhole) appendNumber(*json_, value, std::chars_format::fixed);
  else appendNumber(*json_, value);
}

void Encoder::integer(std::int64_t value) { appendNumber(*json_, value); }

void Encoder::unsignedInteger(std::uint64_t value) { appendNumber(*json_, value); }

void Encoder::text(std::string_view value) {
  if (isPlain(value)) {
    json_->append(1, '"').append(value).append(1, '"');
    return;
  }
  if (!isUTF8(value)) refuse("Unable to encode a text that is not UTF-8.");
  appendString(*json_, value);
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
