// JSON whose shape is not known in advance.
//
//   JSONValue note = JSONValue::object({
//       {"title", "Milk"},
//       {"tags", JSONValue::array({"shop", std::nullopt, 3})},
//       {"due", std::nullopt},
//   });
//   const auto read = tarvex::JSONDecoder().decode<JSONValue>(text);
//   if (const auto* members = read.get<JSONValue::Object>()) ...
//
// A null stands only for an absent element of an array or an absent value in an object:
// `std::optional<JSONValue>` reads one at the top of a text too. All numbers are doubles.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/Decoder.h"
#include "TarvexCommon/Base/JSON/Encoder.h"

namespace tarvex {

// Values nest as deep as memory allows: copying, comparing, encoding and destroying one takes
// no more stack for it.
class TARVEX_EXPORT JSONValue {
 public:
  enum class Case { boolean, number, string, array, object };

  using Array = std::vector<std::optional<JSONValue>>;
  struct Member;

  // The members of an object, each key once, in the order in which they were added.
  class TARVEX_EXPORT Object {
   public:
    using mapped_type = std::optional<JSONValue>;

    Object() noexcept;
    // Stops the process when a key stands there twice.
    Object(std::initializer_list<Member> members);
    Object(const Object& other);
    Object(Object&& other) noexcept;
    Object& operator=(const Object& other);
    Object& operator=(Object&& other) noexcept;
    ~Object();

    // Returns the value of the member, present or absent; null when there is no such key.
    const std::optional<JSONValue>* find(std::string_view key) const;
    bool contains(std::string_view key) const { return find(key) != nullptr; }

    // Adds a member. Returns false, and changes nothing, when the key is there.
    bool emplace(std::string_view key, std::optional<JSONValue> value);
    // Adds a member, or replaces its value.
    void set(std::string_view key, std::optional<JSONValue> value);

    std::size_t size() const noexcept;
    const Member* begin() const noexcept;
    const Member* end() const noexcept;

   private:
    friend JSONValue;
    class Index;

    // Of a few keys all are compared; of more an index is kept.
    std::optional<std::size_t> position(std::string_view key) const;

    // Adds a member whose key is not there; returns its value, absent.
    std::optional<JSONValue>& append(std::string_view key);

    std::vector<Member> members_;
    std::unique_ptr<Index> index_;
    bool hasOnlyASCII_ = true;
    std::uint32_t height_ = 0;
  };

  // Thrown for a text that is JSON and holds nothing that a `JSONValue` could be: a null at
  // its top.
  struct TARVEX_EXPORT JSONValueDecodingError final : std::exception {
    std::string message = "could not decode a valid JSONValue";
    const char* what() const noexcept override { return message.c_str(); }
  };

  template <std::same_as<bool> Boolean>
  JSONValue(Boolean value) noexcept : value_(value) {}
  template <coding::Integer Integer>
    requires(!coding::isCharacter<Integer>)
  JSONValue(Integer value)
  noexcept : value_(static_cast<double>(value)) {}
  template <std::floating_point Number>
  JSONValue(Number value) noexcept : value_(static_cast<double>(value)) {}
  JSONValue(std::string value) noexcept : value_(std::move(value)) {}
  JSONValue(std::string_view value) : value_(std::string(value)) {}
  JSONValue(const char* value) : value_(std::string(value)) {}
  JSONValue(std::nullptr_t) = delete;  // an absent value is std::nullopt

  static JSONValue array(Array elements);
  static JSONValue object(Object members);

  JSONValue(const JSONValue& other);
  JSONValue(JSONValue&& other) noexcept = default;
  JSONValue& operator=(const JSONValue& other);
  JSONValue& operator=(JSONValue&& other) noexcept = default;
  ~JSONValue() {
    if (height() > plainHeight) dismantle();
  }

  // Throws `JSONValueDecodingError`.
  explicit JSONValue(const Decoder& decoder);
  // Throws `EncodingError` for a number that is not finite and a text that is not UTF-8.
  void encode(Encoder& encoder) const;

  Case valueCase() const noexcept { return static_cast<Case>(value_.index()); }

  // Returns the payload when it is a `T` (bool, double, std::string, Array, Object),
  // otherwise null.
  template <typename T>
  const T* get() const noexcept {
    if constexpr (std::same_as<T, Array>) {
      const auto* elements = std::get_if<Elements>(&value_);
      return elements == nullptr ? nullptr : &elements->array;
    } else {
      return std::get_if<T>(&value_);
    }
  }

  // Values of different cases differ. Texts and keys are equal when they are canonically
  // equivalent, absent elements are equal to absent elements; the order of members says
  // nothing. A number that is not a number differs from itself.
  TARVEX_EXPORT friend bool operator==(const JSONValue& first, const JSONValue& second);

 private:
  class Reader;

  std::size_t childCount() const noexcept;
  const std::optional<JSONValue>& child(std::size_t index) const noexcept;
  std::optional<JSONValue>& child(std::size_t index) noexcept;
  const std::optional<JSONValue>* counterpart(std::size_t index, const JSONValue& other) const;

  // Lower trees are destroyed by a call within a call for each level.
  static constexpr std::uint32_t plainHeight = 200;

  // The number of levels that were below a container when it was made; more than there are
  // once something has been moved out of it.
  std::uint32_t height() const noexcept {
    if (const auto* elements = std::get_if<Elements>(&value_)) return elements->height;
    const auto* members = std::get_if<Object>(&value_);
    return members == nullptr ? 0 : members->height_;
  }
  void measure() noexcept;
  void dismantle() noexcept;
  void copyShape(const JSONValue& other);
  bool hasShapeOf(const JSONValue& other) const;
  void begin(StreamEncodingContainer& to) const;

  struct Elements {
    Array array;
    std::uint32_t height = 0;
  };

  std::variant<bool, double, std::string, Elements, Object> value_;
};

struct JSONValue::Member {
  std::string key;
  std::optional<JSONValue> value;
};

}  // namespace tarvex
