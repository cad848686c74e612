#include "TarvexCommon/Base/JSON/Encoder.h"

#include <charconv>
#include <cmath>

#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/JSON/QuotedText.h"
#include "TarvexCommon/Base/JSON/ShortestDecimal.h"

namespace tarvex {
namespace {

constexpr const char* notUTF8 = "Unable to encode a text that is not UTF-8.";

const char* nameOf(double notFinite) {
  return std::isnan(notFinite) ? "nan" : notFinite < 0 ? "-inf" : "inf";
}

std::string cannotEncode(double notFinite) {
  return "Unable to encode Double." + std::string(nameOf(notFinite)) + " directly in JSON.";
}

template <typename Integer>
char* writeInteger(char* to, Integer value) {
  constexpr std::size_t longest = 20;
  return std::to_chars(to, to + longest, value).ptr;
}

char* writeFinite(char* to, double value) {
  const auto whole = std::abs(value) < 0x1p53 ? static_cast<std::int64_t>(value) : 0;
  return whole != 0 && static_cast<double>(whole) == value
             ? writeInteger(to, whole)
             : coding::writeShortestDecimal(to, value);
}

// Adds the number that `write` writes, and a comma.
template <typename Write>
void addNumber(coding::Output& json, Write write) {
  char* const start = json.room(coding::longestDecimal + 1);
  char* const end = write(start);
  *end = ',';
  json.added(static_cast<std::size_t>(end + 1 - start));
}

// Returns false, and adds nothing, where the number is not finite.
bool addDouble(coding::Output& json, double value) {
  if (!std::isfinite(value)) return false;
  addNumber(json, [&](char* to) { return writeFinite(to, value); });
  return true;
}

void addClose(coding::Output& json, char close) {
  json.cutComma();
  char* const to = json.room(2);
  to[0] = close;
  to[1] = ',';
  json.added(2);
}

}  // namespace

// There is always room for the end: a destructor that has to make some could not fail.
EncodingContainer::EncodingContainer(Encoder& encoder, char open, char close)
    : encoder_(&encoder), close_(close) {
  encoder_->json_->add(open);
  encoder_->json_->room(2);
}

EncodingContainer::~EncodingContainer() { addClose(*encoder_->json_, close_); }

CodingPath EncodingContainer::codingPath() const { return encoder_->codingPath(); }

void SingleValueEncodingContainer::encodeNil() {
  encoder_->begin();
  encoder_->null();
}

CodingPath SingleValueEncodingContainer::codingPath() const { return encoder_->codingPath(); }

StreamEncodingContainer::StreamEncodingContainer(Encoder& encoder) noexcept
    : encoder_(&encoder), start_(encoder.json_->size()) {}

StreamEncodingContainer::~StreamEncodingContainer() {
  if (levels_.empty()) return;
  encoder_->json_->cut(start_);
  encoder_->hasBegun_ = false;
}

void StreamEncodingContainer::begin(char open, char close) {
  beginValue();
  encoder_->json_->add(open);
  levels_.push_back({.close = close});
}

void StreamEncodingContainer::end() {
  addClose(*encoder_->json_, levels_.back().close);
  levels_.pop_back();
}

void StreamEncodingContainer::beginValue() {
  if (levels_.empty()) encoder_->begin();
  else if (levels_.back().close == ']') beginMember({});
}

void StreamEncodingContainer::beginMember(std::string_view key) {
  Level& level = levels_.back();
  level.member = encoder_->json_->size();
  ++level.count;
  level.key = key;
}

void StreamEncodingContainer::key(std::string_view key) {
  beginMember(key);
  if (!coding::addQuoted(*encoder_->json_, key, ':')) refuse(notUTF8);
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
  if (!addDouble(*encoder_->json_, value)) refuse(cannotEncode(value));
}

void StreamEncodingContainer::encode(std::string_view value) {
  beginValue();
  if (!coding::addQuoted(*encoder_->json_, value, ',')) refuse(notUTF8);
}

void StreamEncodingContainer::refuse(std::string_view why) {
  const CodingErrorContext context(codingPath(), std::string(why));
  takeBack();
  throw EncodingError::invalidValue(context);
}

void StreamEncodingContainer::takeBack() {
  if (levels_.empty()) {
    encoder_->hasBegun_ = false;
  } else {
    encoder_->json_->cut(levels_.back().member);
    --levels_.back().count;
  }
}

CodingPath StreamEncodingContainer::codingPath() const {
  CodingPath path = encoder_->codingPath();
  for (const Level& level : levels_) {
    if (level.count == 0) break;  // nothing has begun in it
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

void Encoder::null() { json_->add("null,"); }

void Encoder::boolean(bool value) {
  if (value) json_->add("true,");
  else json_->add("false,");
}

void Encoder::number(double value) {
  if (!addDouble(*json_, value)) refuse(cannotEncode(value));
}

void Encoder::integer(std::int64_t value) {
  addNumber(*json_, [&](char* to) { return writeInteger(to, value); });
}

void Encoder::unsignedInteger(std::uint64_t value) {
  addNumber(*json_, [&](char* to) { return writeInteger(to, value); });
}

void Encoder::text(std::string_view value, char suffix) {
  if (!coding::addQuoted(*json_, value, suffix)) refuse(notUTF8);
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
