// JSON whose shape is not known in advance.
//
//   const auto note = JSONValue::object({
//       {"title", "Milk"},
//       {"tags", JSONValue::array({"shop", std::nullopt, 3})},
//       {"due", std::nullopt},
//   });
//   const auto read = tarvex::JSONDecoder().decode<JSONValue>(text);
//   for (const auto& [key, value] : read.members()) ...
//   const auto title = read.members().find("title");
//   if (title) std::cout << title->get<std::string>().value_or("untitled");
//
// A null stands only for an absent element of an array or an absent value in an object:
// `std::optional<JSONValue>` reads one at the top of a text too. All numbers are doubles.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/Decoder.h"
#include "TarvexCommon/Base/JSON/Encoder.h"

namespace tarvex {

// A value never changes, but can be assigned another. Copies share what they hold, so that a
// copy costs the same for a number and for a large document; threads may share it too. Values
// nest as deep as memory allows: no operation takes more stack for it.
class TARVEX_EXPORT JSONValue {
 public:
  enum class Case : std::uint8_t { boolean, number, string, array, object };

  using Element = std::optional<JSONValue>;
  struct Member;  // a key and its value
  class Array;
  class Object;

  // Thrown for a text that is JSON and holds nothing that a `JSONValue` could be: a null at
  // its top.
  struct TARVEX_EXPORT JSONValueDecodingError final : std::exception {
    std::string_view message = "could not decode a valid JSONValue";
    const char* what() const noexcept override { return "could not decode a valid JSONValue"; }
  };

  template <std::same_as<bool> Boolean>
  JSONValue(Boolean value) noexcept : node_(Node::boolean(value)) {}
  template <coding::Integer Integer>
  JSONValue(Integer value) noexcept : node_(Node::number(static_cast<double>(value))) {}
  template <std::floating_point Number>
  JSONValue(Number value) noexcept : node_(Node::number(static_cast<double>(value))) {}
  JSONValue(std::string value);
  JSONValue(std::string_view value) : JSONValue(std::string(value)) {}
  JSONValue(const char* value) : JSONValue(std::string(value)) {}
  JSONValue(std::nullptr_t) = delete;  // an absent value is std::nullopt

  static JSONValue array(const std::vector<Element>& elements);
  // Keeps the order of the members. Stops the process when a key stands there twice.
  static JSONValue object(const std::vector<Member>& members);

  JSONValue(const JSONValue& other) = default;
  JSONValue& operator=(const JSONValue& other) = default;
  // What was moved from is `false`.
  JSONValue(JSONValue&& other) noexcept
      : node_(std::exchange(other.node_, Node::boolean(false))), owner_(std::move(other.owner_)) {}
  JSONValue& operator=(JSONValue&& other) noexcept {
    node_ = std::exchange(other.node_, Node::boolean(false));
    owner_ = std::move(other.owner_);
    return *this;
  }
  ~JSONValue() = default;

  // Throws `JSONValueDecodingError`. Of equal keys of an object the first counts.
  explicit JSONValue(const Decoder& decoder);
  // Throws `EncodingError` for a number that is not finite and a text that is not UTF-8.
  void encode(Encoder& encoder) const;

  Case valueCase() const noexcept { return static_cast<Case>(node_.kind()); }

  // Returns the payload when it is a `T`: bool, double, std::string, or std::string_view for
  // the same text without a copy, to be used while this value or a copy of it lives.
  template <typename T>
  std::optional<T> get() const&;
  template <typename T>
  std::optional<T> get() &&;

  // The elements of an array, none of another value.
  Array elements() const;
  // The members of an object, none of another value.
  Object members() const;

  // Values of different cases differ. Texts and keys are equal when they are canonically
  // equivalent, absent elements are equal to absent elements; the order of members says
  // nothing. A number that is not a number differs from itself.
  TARVEX_EXPORT friend bool operator==(const JSONValue& first, const JSONValue& second);

 private:
  struct Tree;     // owns nodes
  struct Members;  // of an object in a tree
  class Reader;
  class Writer;
  class Comparison;

  // What a value is. Texts and children belong to a tree or to a value.
  class Node {
   public:
    enum class Kind : std::uint8_t { boolean, number, string, array, object, absent, link };

    Node() noexcept : Node(Kind::absent, 0, {.boolean = false}) {}

    static Node boolean(bool value) noexcept { return {Kind::boolean, 0, {.boolean = value}}; }
    static Node number(double value) noexcept { return {Kind::number, 0, {.number = value}}; }
    static Node text(std::string_view value) noexcept {
      return {Kind::string, value.size(), {.text = value.data()}};
    }
    static Node array(const Node* elements, std::size_t count) noexcept {
      return {Kind::array, count, {.elements = elements}};
    }
    static Node object(const Members* members, std::size_t count) noexcept {
      return {Kind::object, count, {.members = members}};
    }
    // Stands for a value of another tree.
    static Node link(const JSONValue& value) noexcept { return {Kind::link, 0, {.link = &value}}; }

    Kind kind() const noexcept { return static_cast<Kind>(sizeAndKind_ & 0xff); }
    std::size_t size() const noexcept { return sizeAndKind_ >> 8; }

    bool boolean() const noexcept { return payload_.boolean; }
    double number() const noexcept { return payload_.number; }
    std::string_view text() const noexcept { return {payload_.text, size()}; }
    const Node* elements() const noexcept { return payload_.elements; }
    const Members& members() const noexcept { return *payload_.members; }
    const JSONValue& link() const noexcept { return *payload_.link; }
    // The node that a link stands for.
    const Node& target() const noexcept { return kind() == Kind::link ? link().node_ : *this; }

   private:
    union Payload {
      bool boolean;
      double number;
      const char* text;
      const Node* elements;
      const Members* members;
      const JSONValue* link;
    };

    Node(Kind kind, std::uint64_t size, Payload payload) noexcept
        : payload_(payload), sizeAndKind_(size << 8 | static_cast<std::uint8_t>(kind)) {}

    // In 16 bytes: a document has many.
    Payload payload_;
    std::uint64_t sizeAndKind_;
  };

  JSONValue(Node node, std::shared_ptr<const void> owner) noexcept
      : node_(node), owner_(std::move(owner)) {}

  // Returns the value of a node of this value's tree.
  Element element(const Node& node) const;

  Node node_;
  std::shared_ptr<const void> owner_;  // of what the node points to
};

struct JSONValue::Member {
  std::string key;
  Element value;
};

namespace coding {

// Walks what has a size and an `operator[]`.
template <typename List>
class IndexIterator {
 public:
  using iterator_concept = std::forward_iterator_tag;
  using iterator_category = std::input_iterator_tag;
  using value_type = typename List::value_type;
  using difference_type = std::ptrdiff_t;
  using reference = value_type;
  using pointer = void;

  IndexIterator() noexcept = default;
  IndexIterator(const List& list, std::size_t index) noexcept : list_(&list), index_(index) {}

  value_type operator*() const { return (*list_)[index_]; }
  IndexIterator& operator++() noexcept {
    ++index_;
    return *this;
  }
  IndexIterator operator++(int) noexcept { return {*list_, index_++}; }
  bool operator==(const IndexIterator& other) const noexcept { return index_ == other.index_; }

 private:
  const List* list_ = nullptr;
  std::size_t index_ = 0;
};

}  // namespace coding

// The elements of an array. Iterators live as long as it.
class TARVEX_EXPORT JSONValue::Array {
 public:
  using value_type = Element;

  std::size_t size() const noexcept { return value_.node_.size(); }
  bool empty() const noexcept { return size() == 0; }
  // `index` is below `size()`.
  Element operator[](std::size_t index) const;

  auto begin() const noexcept { return coding::IndexIterator(*this, 0); }
  auto end() const noexcept { return coding::IndexIterator(*this, size()); }

 private:
  friend JSONValue;
  explicit Array(JSONValue value) noexcept : value_(std::move(value)) {}

  JSONValue value_;
};

// The members of an object, each key once, in the order of the text or of the literal.
// Iterators live as long as it.
class TARVEX_EXPORT JSONValue::Object {
 public:
  using value_type = Member;

  std::size_t size() const noexcept { return value_.node_.size(); }
  bool empty() const noexcept { return size() == 0; }
  // `index` is below `size()`.
  Member operator[](std::size_t index) const;

  // Returns the value of the member with a key equal to `key`: absent where it is null, and
  // where there is none.
  Element find(std::string_view key) const;
  bool contains(std::string_view key) const;

  auto begin() const noexcept { return coding::IndexIterator(*this, 0); }
  auto end() const noexcept { return coding::IndexIterator(*this, size()); }

 private:
  friend JSONValue;
  explicit Object(JSONValue value) noexcept : value_(std::move(value)) {}

  JSONValue value_;
};

template <typename T>
std::optional<T> JSONValue::get() const& {
  if constexpr (std::same_as<T, bool>) {
    if (valueCase() == Case::boolean) return node_.boolean();
  } else if constexpr (std::same_as<T, double>) {
    if (valueCase() == Case::number) return node_.number();
  } else {
    static_assert(std::same_as<T, std::string> || std::same_as<T, std::string_view>,
                  "a payload is a bool, a double or a text; see elements() and members()");
    if (valueCase() == Case::string) return T(node_.text());
  }
  return std::nullopt;
}

template <typename T>
std::optional<T> JSONValue::get() && {
  static_assert(!std::same_as<T, std::string_view>, "the text would not outlive this value");
  return std::as_const(*this).template get<T>();
}

}  // namespace tarvex
