// Reading a value out of a JSON document.
//
// The coder reads bool, double, integers, std::string, Date, Data (as base64 text),
// std::optional, std::vector and std::map with text keys by itself. Any other type takes part by a
// constructor that reads its members:
//
//   struct Note {
//     std::string title;
//     std::optional<tarvex::Date> due;
//
//     explicit Note(const tarvex::Decoder& decoder) {
//       const auto members = decoder.container();
//       title = members.decode<std::string>("title");
//       due = members.decodeIfPresent<tarvex::Date>("due");
//     }
//   };
//
// A JSON number is never read as bool or text, nor the other way round. A number
// is read as an integer when it has that value exactly. Unknown keys are ignored;
// of equal keys the first counts (equal means canonically equivalent).
//
// Everything here throws `DecodingError`. Decoders and containers live as long as
// the constructor call that received them.
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/Base/JSON/CodingPlace.h"
#include "TarvexCommon/Base/JSON/JSONNode.h"
#include "TarvexCommon/Base/JSON/Types.h"

namespace tarvex {

namespace coding {
class JSONDocument;
}

class Decoder;
class DateDecodingStrategy;

// A type that reads itself.
template <typename T>
concept Decodable = std::constructible_from<T, const Decoder&>;

// The members of a JSON object.
class TARVEX_EXPORT KeyedDecodingContainer {
 public:
  // Returns the member's value; `keyNotFound` when it is missing.
  template <typename T>
  T decode(std::string_view key) const;

  // Returns nothing when the member is missing or null; any other value of a
  // wrong type is an error.
  template <typename T>
  std::optional<T> decodeIfPresent(std::string_view key) const;

  // Returns whether the key is there, null or not.
  bool contains(std::string_view key) const { return coding::findMember(object_, key).has_value(); }

  // The keys in the order of the document.
  std::vector<std::string> allKeys() const;

  CodingPath codingPath() const;

 private:
  friend Decoder;
  KeyedDecodingContainer(const Decoder& decoder, coding::JSONNode object) noexcept
      : decoder_(&decoder), object_(object) {}

  const Decoder* decoder_;
  coding::JSONNode object_;
};

// The elements of a JSON array, read one after the other.
class TARVEX_EXPORT UnkeyedDecodingContainer {
 public:
  // Returns the next element; `valueNotFound` at the end.
  template <typename T>
  T decode();

  bool isAtEnd() const noexcept { return !elements_.hasNext(); }
  std::size_t currentIndex() const noexcept { return index_; }
  CodingPath codingPath() const;

 private:
  friend Decoder;
  UnkeyedDecodingContainer(const Decoder& decoder, coding::JSONNode array) noexcept
      : decoder_(&decoder), elements_(array) {}
  coding::JSONNode next();

  const Decoder* decoder_;
  coding::JSONElements elements_;
  std::size_t index_ = 0;
};

// One value of any type.
class TARVEX_EXPORT SingleValueDecodingContainer {
 public:
  template <typename T>
  T decode() const;

  bool decodeNil() const;
  CodingPath codingPath() const;

  // For types that read whole trees by themselves. Internal.
  coding::JSONNode node() const noexcept;

 private:
  friend Decoder;
  explicit SingleValueDecodingContainer(const Decoder& decoder) noexcept : decoder_(&decoder) {}

  const Decoder* decoder_;
};

// One value of the document and its place.
class TARVEX_EXPORT Decoder {
 public:
  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  // `typeMismatch` when the value is not an object, `valueNotFound` for null.
  KeyedDecodingContainer container() const;
  // `typeMismatch` when the value is not an array, `valueNotFound` for null.
  UnkeyedDecodingContainer unkeyedContainer() const;
  SingleValueDecodingContainer singleValueContainer() const noexcept;

  CodingPath codingPath() const { return place_.path(); }

 private:
  friend KeyedDecodingContainer;
  friend UnkeyedDecodingContainer;
  friend SingleValueDecodingContainer;
  friend struct JSONDecoder;

  Decoder(const coding::JSONDocument& document, const DateDecodingStrategy& dates) noexcept;
  template <typename Step>
  Decoder(const Decoder& around, Step step, coding::JSONNode node) noexcept
      : dates_(around.dates_), place_(around.place_, step), node_(node) {}

  template <typename T>
  T value() const;
  template <typename List>
  List list() const;
  template <typename Map>
  Map map() const;

  bool isNull() const;
  bool boolean() const;
  double number() const;
  std::string text() const;
  Data data() const;
  Date date() const;
  std::int64_t integer(std::int64_t low, std::int64_t high) const;
  std::uint64_t unsignedInteger(std::uint64_t high) const;
  void requireNumber(std::string_view type) const;
  [[noreturn]] void refuse(std::string_view type) const;

  const DateDecodingStrategy* dates_;
  coding::CodingPlace place_;
  coding::JSONNode node_;
};

template <typename T>
T KeyedDecodingContainer::decode(std::string_view key) const {
  const auto node = coding::findMember(object_, key);
  if (!node) throw DecodingError::keyNotFound(key, codingPath());
  return Decoder(*decoder_, key, *node).value<T>();
}

template <typename T>
std::optional<T> KeyedDecodingContainer::decodeIfPresent(std::string_view key) const {
  const auto node = coding::findMember(object_, key);
  if (!node) return std::nullopt;
  return Decoder(*decoder_, key, *node).value<std::optional<T>>();
}

template <typename T>
T UnkeyedDecodingContainer::decode() {
  const coding::JSONNode node = next();
  return Decoder(*decoder_, index_++, node).value<T>();
}

inline coding::JSONNode SingleValueDecodingContainer::node() const noexcept {
  return decoder_->node_;
}

template <typename T>
T SingleValueDecodingContainer::decode() const {
  return decoder_->value<T>();
}

template <typename T>
T Decoder::value() const {
  if constexpr (std::same_as<T, bool>) {
    return boolean();
  } else if constexpr (std::same_as<T, double>) {
    return number();
  } else if constexpr (coding::Integer<T>) {
    constexpr T high = std::numeric_limits<T>::max();
    if constexpr (std::unsigned_integral<T>) return static_cast<T>(unsignedInteger(high));
    else return static_cast<T>(integer(std::numeric_limits<T>::min(), high));
  } else if constexpr (std::same_as<T, std::string>) {
    return text();
  } else if constexpr (std::same_as<T, Data>) {
    return data();
  } else if constexpr (std::same_as<T, Date>) {
    return date();
  } else if constexpr (coding::isOptional<T>) {
    if (isNull()) return std::nullopt;
    return value<typename T::value_type>();
  } else if constexpr (coding::isList<T>) {
    return list<T>();
  } else if constexpr (coding::isMap<T>) {
    return map<T>();
  } else {
    static_assert(Decodable<T>, "the type needs a constructor T(const tarvex::Decoder&)");
    return T(*this);
  }
}

template <typename List>
List Decoder::list() const {
  constexpr std::size_t largestReserve = 1024;  // no memory for elements yet to be checked
  List elements;
  auto container = unkeyedContainer();
  elements.reserve(std::min(container.elements_.sizeHint(), largestReserve));
  while (!container.isAtEnd()) {
    elements.push_back(container.decode<typename List::value_type>());
  }
  return elements;
}

template <typename Map>
Map Decoder::map() const {
  Map members;
  const coding::JSONNode object = container().object_;
  coding::UniqueKeys unique(object);
  for (coding::JSONMembers all(object); all.hasNext(); all.advance()) {
    std::string key(all.key());
    if (!unique.insert(key) || members.contains(key)) continue;
    const Decoder member(*this, all.key(), all.value());
    members.emplace(std::move(key), member.value<typename Map::mapped_type>());
  }
  return members;
}

}  // namespace tarvex
