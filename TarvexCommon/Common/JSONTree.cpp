#include "TarvexCommon/Common/JSONTree.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <span>
#include <utility>

#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

template <typename Pair>
const Pair* findAmong(std::span<const Pair> pairs, std::string_view key) {
  const auto found = std::ranges::find_if(
      pairs, [&](const Pair& pair) { return canonicallyEqual(pair.key.text(), key); });
  return found == pairs.end() ? nullptr : &*found;
}

// The keys that stand in front of the next one.
template <typename Pair>
class KeysBefore {
 public:
  explicit KeysBefore(const Pair* pairs) : pairs_(pairs) {}

  // Returns whether a key equal to `key` is among the first `count`.
  bool have(std::string_view key, std::size_t count) {
    onlyASCII_ = onlyASCII_ && isASCII(key);
    const bool isNew = addMark(key);
    if (isNew && onlyASCII_) return false;
    return findAmong(std::span(pairs_, count), key) != nullptr;
  }

 private:
  // Keys of the same bytes have the same mark, most others another one.
  bool addMark(std::string_view key) {
    std::size_t hash = key.size() * 23;
    if (!key.empty()) {
      hash += static_cast<unsigned char>(key.front()) * 5U + static_cast<unsigned char>(key.back());
    }
    const auto mark = std::uint64_t{1} << hash % 64;
    return (std::exchange(marks_, marks_ | mark) & mark) == 0;
  }

  const Pair* pairs_;
  bool onlyASCII_ = true;
  std::uint64_t marks_ = 0;
};

// Keeps the first of equal keys; returns how many those are.
template <typename Pair>
std::size_t dropRepetitions(Pair* pairs, std::size_t count) {
  KeysBefore<Pair> before(pairs);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (!before.have(pairs[i].key.text(), kept)) pairs[kept++] = pairs[i];
  }
  return kept;
}

}  // namespace

void JSONMemory::addBlock(std::size_t needed) {
  const std::size_t size = std::max(needed, nextSize_);
  front_ = blocks_.emplace_back(std::make_unique_for_overwrite<std::byte[]>(size)).get();
  back_ = front_ + size;
  nextSize_ = 2 * size;
}

// The trees that a tree links to may be destroyed with it, and those that they link to: a list
// of them keeps that from becoming a destructor within a destructor for each level, unless
// there is no memory for the list.
JSONValue::Tree::~Tree() {
  thread_local std::vector<JSONValue>* pending = nullptr;
  if (pending == nullptr) {
    pending = &links;
    while (!links.empty()) {
      const JSONValue last = std::move(links.back());
      links.pop_back();
    }
    pending = nullptr;
  } else {
    try {
      pending->insert(pending->end(), std::move_iterator(links.begin()),
                      std::move_iterator(links.end()));
    } catch (const std::bad_alloc&) {
    }
  }
}

JSONValue::Node JSONValue::Tree::object(Members::Pair* pairs, std::size_t count) {
  if (count <= fewMembers) return smallObject(pairs, dropRepetitions(pairs, count));
  auto* index = memory.take<Members::IndexEntry>(count);
  const auto* members = new (memory.take<Members>(1)) Members{.pairs = pairs, .index = index};
  return Node::object(members, fillIndex(pairs, count, index));
}

JSONValue::Node JSONValue::Tree::smallObject(const Members::Pair* pairs, std::size_t count) {
  return Node::object(new (memory.take<Members>(1)) Members{.pairs = pairs, .index = nullptr},
                      count);
}

// Keeps the first of equal keys, as `dropRepetitions`, and indexes them.
std::size_t JSONValue::Tree::fillIndex(Members::Pair* pairs, std::size_t count,
                                       Members::IndexEntry* index) {
  for (std::size_t i = 0; i < count; ++i) {
    const std::string_view key = pairs[i].key.text();
    new (index + i) Members::IndexEntry{isASCII(key) ? key : memory.keep(canonicalForm(key)), i};
  }
  std::sort(index, index + count);
  auto* const end = std::unique(index, index + count, [](const auto& first, const auto& second) {
    return first.form == second.form;
  });
  const auto kept = static_cast<std::size_t>(end - index);
  if (kept == count) return kept;
  std::ranges::sort(index, end, {}, &Members::IndexEntry::position);
  for (std::size_t i = 0; i < kept; ++i) {
    pairs[i] = pairs[std::exchange(index[i].position, i)];
  }
  std::sort(index, end);
  return kept;
}

const JSONValue::Node* JSONValue::Tree::find(const Node& object, std::string_view key) {
  const auto& [pairs, index] = object.members();
  if (index == nullptr) {
    const auto* pair = findAmong(std::span(pairs, object.size()), key);
    return pair == nullptr ? nullptr : &pair->value;
  }
  const std::string form = canonicalForm(key);
  const auto* end = index + object.size();
  const auto* entry =
      std::ranges::lower_bound(index, end, std::string_view(form), {}, &Members::IndexEntry::form);
  return entry != end && entry->form == form ? &pairs[entry->position].value : nullptr;
}

}  // namespace tarvex
