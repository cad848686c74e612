// Positions in a parsed document, opaque to every other header. Internal to the
// coder.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex::coding {

// One value of a document.
struct JSONNode {
  std::array<std::uint64_t, 2> words;
};

// Returns how many words of the parsed document the value takes, at least one for each value
// and key in it.
TARVEX_EXPORT std::size_t wordCount(JSONNode node) noexcept;

// Walks the elements of an array node.
class TARVEX_EXPORT JSONElements {
 public:
  explicit JSONElements(JSONNode array) noexcept;
  // The number of elements; of 2^24 and more, some number of them.
  std::size_t sizeHint() const noexcept { return sizeHint_; }
  bool hasNext() const noexcept;
  JSONNode next() noexcept;

 private:
  JSONNode at_;
  JSONNode end_;
  std::size_t sizeHint_;
};

// Walks the members of an object node, in the order of the text.
class TARVEX_EXPORT JSONMembers {
 public:
  explicit JSONMembers(JSONNode object) noexcept;
  bool hasNext() const noexcept;
  void advance() noexcept;
  std::string_view key() const noexcept;
  JSONNode value() const noexcept;

 private:
  JSONNode at_;
  JSONNode end_;
};

// Returns the value of the first member with a key equal to `key`.
TARVEX_EXPORT std::optional<JSONNode> findMember(JSONNode object, std::string_view key);

// Tells the first of canonically equivalent keys of an object from its repetitions.
class TARVEX_EXPORT UniqueKeys {
 public:
  explicit UniqueKeys(JSONNode object);

  // Returns whether no key equal to `key` was there. Where all keys of the object
  // are ASCII the answer is true: there equality is that of the bytes.
  bool insert(std::string_view key);

 private:
  bool allASCII_ = true;
  std::set<std::string> forms_;
};

}  // namespace tarvex::coding
