#include "TarvexCommon/Base/JSON/Decoder.h"

#include <cmath>
#include <set>
#include <utility>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/JSON/JSONDocument.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

using simdjson::dom::element_type;

// What an error calls the value that stands in the text.
std::string_view nameOf(element_type type) {
  switch (type) {
    case element_type::ARRAY: return "an array";
    case element_type::OBJECT: return "a dictionary";
    case element_type::STRING: return "a string";
    case element_type::BOOL: return "bool";
    case element_type::NULL_VALUE: return "null";
    default: return "number";
  }
}

std::string nullText(std::string_view type) {
  return "Cannot get value of type " + std::string(type) + " -- found null value instead";
}

// Returns the number as an `Int` when it is one exactly.
template <typename Int>
std::optional<Int> exactly(simdjson::dom::element element) {
  Int whole = 0;
  if (element.get(whole) == simdjson::SUCCESS) return whole;
  double number = 0;
  if (element.get(number) != simdjson::SUCCESS || number != std::trunc(number)) return std::nullopt;
  // What the parser did not read as an integer is one only within these bounds: a
  // double at the lowest integer stands for an integer below it.
  constexpr bool isSigned = std::is_signed_v<Int>;
  constexpr double beyond = isSigned ? 9223372036854775808.0 : 18446744073709551616.0;
  if (number <= (isSigned ? -beyond : -1.0) || number >= beyond) return std::nullopt;
  return static_cast<Int>(number);
}

[[noreturn]] void doesNotFit(const coding::CodingPlace& place) {
  throw DecodingError::dataCorrupted(
      {place.path(), "Parsed JSON number does not fit in the integer type."});
}

}  // namespace

Decoder::Decoder(const coding::JSONDocument& document, const DateDecodingStrategy& dates) noexcept
    : dates_(&dates), node_(document.root()) {}

KeyedDecodingContainer Decoder::container() const {
  if (!coding::elementOf(node_).is_object()) refuse("Dictionary<String, Any>");
  return {*this, node_};
}

UnkeyedDecodingContainer Decoder::unkeyedContainer() const {
  if (!coding::elementOf(node_).is_array()) refuse("Array<Any>");
  return {*this, node_};
}

SingleValueDecodingContainer Decoder::singleValueContainer() const noexcept {
  return SingleValueDecodingContainer(*this);
}

bool Decoder::isNull() const { return coding::elementOf(node_).is_null(); }

bool Decoder::boolean() const {
  bool value = false;
  if (coding::elementOf(node_).get(value) != simdjson::SUCCESS) refuse("Bool");
  return value;
}

void Decoder::requireNumber(std::string_view type) const {
  if (!coding::elementOf(node_).is_number()) refuse(type);
}

double Decoder::number() const {
  requireNumber("Double");
  return coding::elementOf(node_).get_double().value_unsafe();
}

std::string Decoder::text() const {
  std::string_view value;
  if (coding::elementOf(node_).get(value) != simdjson::SUCCESS) refuse("String");
  return std::string(value);
}

Data Decoder::data() const {
  auto bytes = fromBase64(text());
  if (!bytes) throw DecodingError::dataCorrupted({codingPath(), "The text is not valid base64."});
  return std::move(*bytes);
}

Date Decoder::date() const {
  if (isNull()) throw DecodingError::valueNotFound({codingPath(), nullText("Date")});
  return dates_->rule_(*this);
}

std::int64_t Decoder::integer(std::int64_t low, std::int64_t high) const {
  requireNumber("Int");
  const auto value = exactly<std::int64_t>(coding::elementOf(node_));
  if (!value || *value < low || *value > high) doesNotFit(place_);
  return *value;
}

std::uint64_t Decoder::unsignedInteger(std::uint64_t high) const {
  requireNumber("UInt");
  const auto value = exactly<std::uint64_t>(coding::elementOf(node_));
  if (!value || *value > high) doesNotFit(place_);
  return *value;
}

void Decoder::refuse(std::string_view type) const {
  if (isNull()) throw DecodingError::valueNotFound({codingPath(), nullText(type)});
  throw DecodingError::typeMismatch(
      {codingPath(), "Expected to decode " + std::string(type) + " but found " +
                         std::string(nameOf(coding::elementOf(node_).type())) + " instead."});
}

std::vector<std::string> KeyedDecodingContainer::allKeys() const {
  std::vector<std::string> keys;
  std::set<std::string> forms;
  for (coding::JSONMembers members(object_); members.hasNext(); members.advance()) {
    if (forms.insert(canonicalForm(members.key())).second) keys.emplace_back(members.key());
  }
  return keys;
}

CodingPath KeyedDecodingContainer::codingPath() const { return decoder_->codingPath(); }

coding::JSONNode UnkeyedDecodingContainer::next() {
  if (!isAtEnd()) return elements_.next();
  throw DecodingError::valueNotFound(
      {coding::CodingPlace(decoder_->place_, index_).path(), "Unkeyed container is at end."});
}

CodingPath UnkeyedDecodingContainer::codingPath() const { return decoder_->codingPath(); }

bool SingleValueDecodingContainer::decodeNil() const { return decoder_->isNull(); }

CodingPath SingleValueDecodingContainer::codingPath() const { return decoder_->codingPath(); }

}  // namespace tarvex
