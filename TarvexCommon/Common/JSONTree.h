// The memory of JSON values. Internal to JSONValue.
#pragma once

#include <compare>
#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "TarvexCommon/Common/JSONValue.h"

namespace tarvex {

// The members of an object, in their order, and where there are many an index of them.
struct JSONValue::Members {
  struct Pair {
    Node key;
    Node value;
  };
  struct IndexEntry {
    std::string_view form;  // canonical form of the key
    std::size_t position;

    auto operator<=>(const IndexEntry&) const = default;
  };

  const Pair* pairs;
  const IndexEntry* index;  // sorted; null where the members are few
};

// Memory that is freed as a whole. Blocks are used from both ends: what has to be aligned
// stands in front, texts behind.
class JSONMemory {
 public:
  explicit JSONMemory(std::size_t expectedSize) : nextSize_(expectedSize) {}

  // Uninitialised room for so many objects that need no destructor.
  template <typename T>
  T* take(std::size_t count) {
    static_assert(alignof(T) == alignof(void*));
    const std::size_t size = count * sizeof(T);
    if (room() < size) addBlock(size);
    return reinterpret_cast<T*>(std::exchange(front_, front_ + size));
  }

  // A copy of the text.
  std::string_view keep(std::string_view text) {
    if (room() < text.size()) addBlock(text.size());
    back_ -= text.size();
    text.copy(reinterpret_cast<char*>(back_), text.size());
    return {reinterpret_cast<const char*>(back_), text.size()};
  }

 private:
  std::size_t room() const { return static_cast<std::size_t>(back_ - front_); }
  void addBlock(std::size_t needed);

  std::vector<std::unique_ptr<std::byte[]>> blocks_;
  std::byte* front_ = nullptr;
  std::byte* back_ = nullptr;
  std::size_t nextSize_;
};

// What a decoded text consists of, or a container that was made by hand: nodes, texts and the
// values of other trees that it holds.
struct JSONValue::Tree {
  explicit Tree(std::size_t expectedSize) : memory(expectedSize) {}
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree();

  // Returns the node of a value within this tree; `links` has room for it.
  Node hold(const Element& element);

  // Returns the object of these members, of equal keys only the first.
  Node object(Members::Pair* pairs, std::size_t count);
  // The same where no two keys are equal and the members are few.
  Node smallObject(const Members::Pair* pairs, std::size_t count);

  // Objects of more members have an index.
  static constexpr std::size_t fewMembers = 16;

  // Returns the value of the member with a key equal to `key`, or null.
  static const Node* find(const Node& object, std::string_view key);

  JSONMemory memory;
  std::vector<JSONValue> links;

 private:
  std::size_t fillIndex(Members::Pair* pairs, std::size_t count, Members::IndexEntry* index);
};

}  // namespace tarvex
