// Writing a value as JSON.
//
// The coder writes what it reads (see Decoder.h). Any other type takes part by a
// member that writes its own members, each key once:
//
//   void Note::encode(tarvex::Encoder& encoder) const {
//     auto members = encoder.container();
//     members.encode("title", title);
//     members.encodeIfPresent("due", due);
//   }
//
// Members are written in the order of the calls; a container is complete when it
// goes out of scope. Doubles are written with the fewest digits that read back as
// the same value (1.0 is `1`).
//
// Everything here throws `EncodingError`.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Base/Base64.h"
#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/Base/JSON/CodingPlace.h"
#include "TarvexCommon/Base/JSON/Output.h"
#include "TarvexCommon/Base/JSON/Types.h"

namespace tarvex {

class Encoder;
class DateEncodingStrategy;

// A type that writes itself.
template <typename T>
concept Encodable = requires(const T& value, Encoder& to) {
  value.encode(to);
};

// An object or array being written.
class TARVEX_EXPORT EncodingContainer {
 public:
  EncodingContainer(const EncodingContainer&) = delete;
  EncodingContainer& operator=(const EncodingContainer&) = delete;

  CodingPath codingPath() const;

 protected:
  EncodingContainer(Encoder& encoder, char open, char close);
  ~EncodingContainer();

  // As `Encoder::orNothing`; leaves room for the end.
  template <typename Write>
  void add(Write write);

  Encoder* encoder_;

 private:
  char close_;
};

// The members of a JSON object.
class TARVEX_EXPORT KeyedEncodingContainer : public EncodingContainer {
 public:
  template <typename T>
  void encode(std::string_view key, const T& value);

  // Leaves the member out when `value` is absent.
  template <typename T>
  void encodeIfPresent(std::string_view key, const std::optional<T>& value) {
    if (value) encode(key, *value);
  }

 private:
  friend Encoder;
  explicit KeyedEncodingContainer(Encoder& encoder) : EncodingContainer(encoder, '{', '}') {}
};

// The elements of a JSON array; an absent element is written as null.
class TARVEX_EXPORT UnkeyedEncodingContainer : public EncodingContainer {
 public:
  template <typename T>
  void encode(const T& value);

 private:
  friend Encoder;
  explicit UnkeyedEncodingContainer(Encoder& encoder) : EncodingContainer(encoder, '[', ']') {}

  std::size_t count_ = 0;
};

// One value of any type, written by one call.
class TARVEX_EXPORT SingleValueEncodingContainer {
 public:
  template <typename T>
  void encode(const T& value);

  void encodeNil();
  CodingPath codingPath() const;

 private:
  friend Encoder;
  explicit SingleValueEncodingContainer(Encoder& encoder) noexcept : encoder_(&encoder) {}

  Encoder* encoder_;
};

// One value written piece by piece: for trees so deep that a call within a call for each
// level would overflow the stack. In an object each value follows its key, and where it is refused
// that is not written either. Nothing is written of a value that is not complete when this goes.
class TARVEX_EXPORT StreamEncodingContainer {
 public:
  StreamEncodingContainer(const StreamEncodingContainer&) = delete;
  StreamEncodingContainer& operator=(const StreamEncodingContainer&) = delete;
  ~StreamEncodingContainer();

  void beginArray() { begin('[', ']'); }
  void beginObject() { begin('{', '}'); }
  // Ends what was begun last; something has to be.
  void end();

  // `key` is borrowed until the next one of this object.
  void key(std::string_view key);

  void encodeNil();
  void encode(bool value);
  void encode(double value);
  void encode(std::string_view value);
  void encode(const char* value) { encode(std::string_view(value)); }  // no `bool`

  CodingPath codingPath() const;

 private:
  friend Encoder;
  explicit StreamEncodingContainer(Encoder& encoder) noexcept;

  struct Level {
    char close;
    std::size_t member = 0;  // or element: where the last one begins in the text
    std::size_t count = 0;
    std::string_view key = {};
  };

  void begin(char open, char close);
  void beginValue();
  void beginMember(std::string_view key);
  // Takes back the element or member that is refused.
  [[noreturn]] void refuse(std::string_view why);
  void takeBack();

  Encoder* encoder_;
  std::size_t start_;  // of the value, in the text
  std::vector<Level> levels_;
};

// The place where one value is written: the value asks for one container, once.
class TARVEX_EXPORT Encoder {
 public:
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  KeyedEncodingContainer container();
  UnkeyedEncodingContainer unkeyedContainer();
  SingleValueEncodingContainer singleValueContainer();
  StreamEncodingContainer streamContainer();

  CodingPath codingPath() const { return place_.path(); }

 private:
  friend EncodingContainer;
  friend KeyedEncodingContainer;
  friend UnkeyedEncodingContainer;
  friend SingleValueEncodingContainer;
  friend StreamEncodingContainer;
  friend struct JSONEncoder;

  Encoder(coding::Output& json, const DateEncodingStrategy& dates) noexcept
      : json_(&json), dates_(&dates) {}
  // An encoder for the same place, or for one inside `around`.
  struct Same {};
  Encoder(const Encoder& same, Same) noexcept
      : json_(same.json_), dates_(same.dates_), place_(same.place_) {}
  template <typename Step>
  Encoder(const Encoder& around, Step step) noexcept
      : json_(around.json_), dates_(around.dates_), place_(around.place_, step) {}

  template <typename T>
  void value(const T& value);

  // Writes what `write` writes, or nothing if that throws.
  template <typename Write>
  void orNothing(Write write);

  // Every value has a comma behind it. The end of a container takes the place of the last one, and
  // `JSONEncoder` cuts that of the whole text.
  void null();
  void boolean(bool value);
  void number(double value);
  void integer(std::int64_t value);
  void unsignedInteger(std::uint64_t value);
  void text(std::string_view value, char suffix = ',');
  void date(Date value);
  void begin();         // the value's one container
  void finish() const;  // the value has written itself
  [[noreturn]] void refuse(std::string_view why) const;

  coding::Output* json_;
  const DateEncodingStrategy* dates_;
  coding::CodingPlace place_;
  bool hasBegun_ = false;
};

template <typename Write>
void EncodingContainer::add(Write write) {
  encoder_->orNothing([&] {
    write();
    encoder_->json_->room(2);
  });
}

template <typename Write>
void Encoder::orNothing(Write write) {
  const std::size_t start = json_->size();
  try {
    write();
  } catch (...) {
    json_->cut(start);
    throw;
  }
}

template <typename T>
void KeyedEncodingContainer::encode(std::string_view key, const T& value) {
  add([&] {
    Encoder member(*encoder_, key);
    member.text(key, ':');
    member.value(value);
  });
}

template <typename T>
void UnkeyedEncodingContainer::encode(const T& value) {
  add([&] { Encoder(*encoder_, count_).value(value); });
  ++count_;
}

template <typename T>
void SingleValueEncodingContainer::encode(const T& value) {
  encoder_->orNothing([&] {
    encoder_->value(value);
    encoder_->begin();
  });
}

template <typename T>
void Encoder::value(const T& value) {
  if constexpr (Encodable<T>) {
    Encoder own(*this, Same{});
    value.encode(own);
    own.finish();
  } else if constexpr (std::same_as<T, bool>) {
    boolean(value);
  } else if constexpr (std::same_as<T, double>) {
    number(value);
  } else if constexpr (coding::Integer<T>) {
    if constexpr (std::unsigned_integral<T>) unsignedInteger(value);
    else integer(value);
  } else if constexpr (std::convertible_to<const T&, std::string_view>) {
    text(value);
  } else if constexpr (std::same_as<T, Data>) {
    text(toBase64(value));
  } else if constexpr (std::same_as<T, Date>) {
    date(value);
  } else if constexpr (coding::isOptional<T>) {
    if (value) this->value(*value);
    else null();
  } else if constexpr (coding::isList<T>) {
    UnkeyedEncodingContainer elements(*this);
    for (const auto& element : value) elements.encode<typename T::value_type>(element);
  } else if constexpr (coding::isMap<T>) {
    KeyedEncodingContainer members(*this);
    for (const auto& [key, member] : value) members.encode(key, member);
  } else {
    static_assert(Encodable<T>, "the type needs a member encode(tarvex::Encoder&) const");
  }
}

}  // namespace tarvex
