#include "TarvexCommon/Common/JSONValue.h"

#include <array>
#include <iterator>
#include <utility>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Base/JSON/JSONDocument.h"
#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Common/JSONTree.h"

namespace tarvex {

JSONValue::JSONValue(std::string value) {
  auto text = std::make_shared<const std::string>(std::move(value));
  node_ = Node::text(*text);
  owner_ = std::move(text);
}

// Copies what is small and alone, links to what has an owner. `links` has room.
JSONValue::Node JSONValue::Tree::hold(const Element& element) {
  if (!element) return Node();
  if (element->owner_ == nullptr) return element->node_;
  return Node::link(links.emplace_back(*element));
}

JSONValue JSONValue::array(const std::vector<Element>& elements) {
  auto tree = std::make_shared<Tree>(elements.size() * sizeof(Node));
  tree->links.reserve(elements.size());
  auto* nodes = tree->memory.take<Node>(elements.size());
  for (std::size_t i = 0; i < elements.size(); ++i) new (nodes + i) Node(tree->hold(elements[i]));
  return {Node::array(nodes, elements.size()), std::move(tree)};
}

JSONValue JSONValue::object(const std::vector<Member>& members) {
  auto tree = std::make_shared<Tree>((members.size() + 1) * sizeof(Members::Pair));
  tree->links.reserve(members.size());
  auto* pairs = tree->memory.take<Members::Pair>(members.size());
  for (std::size_t i = 0; i < members.size(); ++i) {
    const auto& [key, value] = members[i];
    new (pairs + i) Members::Pair{Node::text(tree->memory.keep(key)), tree->hold(value)};
  }
  const Node object = tree->object(pairs, members.size());
  if (object.size() < members.size()) fatalError("Dictionary literal contains duplicate keys");
  return {object, std::move(tree)};
}

JSONValue::Element JSONValue::element(const Node& node) const {
  switch (node.kind()) {
    case Node::Kind::absent: return std::nullopt;
    case Node::Kind::link: return node.link();
    case Node::Kind::boolean:
    case Node::Kind::number: return JSONValue(node, nullptr);
    default: return JSONValue(node, owner_);
  }
}

JSONValue::Array JSONValue::elements() const {
  return Array(valueCase() == Case::array ? *this : JSONValue(Node::array(nullptr, 0), nullptr));
}

JSONValue::Object JSONValue::members() const {
  static constexpr Members none{.pairs = nullptr, .index = nullptr};
  return Object(valueCase() == Case::object ? *this : JSONValue(Node::object(&none, 0), nullptr));
}

JSONValue::Element JSONValue::Array::operator[](std::size_t index) const {
  return value_.element(value_.node_.elements()[index]);
}

JSONValue::Member JSONValue::Object::operator[](std::size_t index) const {
  const auto& [key, value] = value_.node_.members().pairs[index];
  return {.key = std::string(key.text()), .value = value_.element(value)};
}

JSONValue::Element JSONValue::Object::find(std::string_view key) const {
  const Node* node = Tree::find(value_.node_, key);
  return node == nullptr ? std::nullopt : value_.element(*node);
}

bool JSONValue::Object::contains(std::string_view key) const {
  return Tree::find(value_.node_, key) != nullptr;
}

// Compares two trees, one pair of nodes after the other.
class JSONValue::Comparison {
 public:
  bool areEqual(const Node& first, const Node& second) {
    pending_ = {{&first, &second}};
    while (!pending_.empty()) {
      const auto [one, other] = pending_.back();
      pending_.pop_back();
      if (!areAlike(one->target(), other->target())) return false;
    }
    return true;
  }

 private:
  // Compares all but the children, which it adds to the pending ones.
  bool areAlike(const Node& one, const Node& other) {
    if (one.kind() != other.kind()) return false;
    switch (one.kind()) {
      case Node::Kind::boolean: return one.boolean() == other.boolean();
      case Node::Kind::number: return one.number() == other.number();
      case Node::Kind::string: return canonicallyEqual(one.text(), other.text());
      case Node::Kind::array: return addElements(one, other);
      case Node::Kind::object: return addMembers(one, other);
      default: return true;  // both are absent
    }
  }

  bool addElements(const Node& one, const Node& other) {
    if (one.size() != other.size()) return false;
    for (std::size_t i = 0; i < one.size(); ++i) {
      pending_.emplace_back(&one.elements()[i], &other.elements()[i]);
    }
    return true;
  }

  bool addMembers(const Node& one, const Node& other) {
    if (one.size() != other.size()) return false;
    for (std::size_t i = 0; i < one.size(); ++i) {
      const auto& [key, value] = one.members().pairs[i];
      const Node* twin = Tree::find(other, key.text());
      if (twin == nullptr) return false;
      pending_.emplace_back(&value, twin);
    }
    return true;
  }

  std::vector<std::pair<const Node*, const Node*>> pending_;
};

bool operator==(const JSONValue& first, const JSONValue& second) {
  return JSONValue::Comparison().areEqual(first.node_, second.node_);
}

// Reads a parsed text, which is no deeper than the parser admits.
class JSONValue::Reader {
 public:
  explicit Reader(Tree& tree) noexcept : tree_(&tree) {}

  // About the memory that the tree of this value takes: it has no more nodes than words.
  static std::size_t expectedSize(coding::JSONNode root) {
    constexpr std::size_t textPerWord = 8;
    return coding::wordCount(root) * (sizeof(Node) + textPerWord);
  }

  Node read(simdjson::dom::element element) {
    using Type = simdjson::dom::element_type;
    switch (element.type()) {
      case Type::NULL_VALUE: return Node();
      case Type::BOOL: return Node::boolean(element.get_bool().value_unsafe());
      case Type::STRING: return Node::text(tree_->memory.keep(element.get_string().value_unsafe()));
      case Type::ARRAY: return readElements(element.get_array().value_unsafe());
      case Type::OBJECT: return readMembers(element.get_object().value_unsafe());
      default: return Node::number(element.get_double().value_unsafe());
    }
  }

 private:
  // The parser's own counts end at 2^24.
  template <typename Container>
  static std::size_t count(const Container& container) {
    const std::size_t size = container.size();
    if (size < 0xFFFFFF) return size;
    return static_cast<std::size_t>(std::distance(container.begin(), container.end()));
  }

  Node readElements(simdjson::dom::array array) {
    const std::size_t size = count(array);
    auto* const nodes = tree_->memory.take<Node>(size);
    auto* next = nodes;
    ++depth_;
    for (const auto element : array) new (next++) Node(read(element));
    --depth_;
    return Node::array(nodes, size);
  }

  // Objects of a list mostly have the keys of the one before, which need not be copied and
  // looked through again.
  Node readMembers(simdjson::dom::object object) {
    const std::size_t size = count(object);
    auto* const pairs = tree_->memory.take<Members::Pair>(size);
    Node& before = lastObjects_[depth_ % lastObjects_.size()];
    const auto* keys = size > 0 && before.size() == size ? before.members().pairs : nullptr;
    auto* next = pairs;
    ++depth_;
    for (const auto& [key, value] : object) {
      if (keys != nullptr && keys[next - pairs].key.text() != key) keys = nullptr;
      const Node keyNode =
          keys != nullptr ? keys[next - pairs].key : Node::text(tree_->memory.keep(key));
      new (next++) Members::Pair{keyNode, read(value)};
    }
    --depth_;
    return before = keys != nullptr && size <= Tree::fewMembers ? tree_->smallObject(pairs, size)
                                                                : tree_->object(pairs, size);
  }

  std::size_t depth_ = 0;
  // The last object of each depth; far deeper ones share places.
  std::array<Node, 8> lastObjects_ = {};
  Tree* tree_;
};

JSONValue::JSONValue(const Decoder& decoder) {
  const auto root = decoder.singleValueContainer().node();
  auto tree = std::make_shared<Tree>(Reader::expectedSize(root));
  node_ = Reader(*tree).read(coding::elementOf(root));
  if (node_.kind() == Node::Kind::absent) throw JSONValueDecodingError();
  if (node_.kind() >= Node::Kind::string) owner_ = std::move(tree);
}

// Writes a tree piece by piece.
class JSONValue::Writer {
 public:
  explicit Writer(StreamEncodingContainer& to) noexcept : to_(&to) {}

  void write(const Node& root) {
    begin(root.target());
    while (level_.container != nullptr) {
      if (level_.next == level_.size) end();
      else begin(next().target());
    }
  }

 private:
  struct Level {
    const Node* container;
    std::size_t size;
    std::size_t next;
  };

  // Writes the next key of an object; returns the next value of a container.
  const Node& next() {
    const std::size_t index = level_.next++;
    if (level_.container->kind() == Node::Kind::array) return level_.container->elements()[index];
    const auto& [key, value] = level_.container->members().pairs[index];
    to_->key(key.text());
    return value;
  }

  // Writes a value, of a container its beginning.
  void begin(const Node& value) {
    switch (value.kind()) {
      case Node::Kind::boolean: return to_->encode(value.boolean());
      case Node::Kind::number: return to_->encode(value.number());
      case Node::Kind::string: return to_->encode(value.text());
      case Node::Kind::array: to_->beginArray(); break;
      case Node::Kind::object: to_->beginObject(); break;
      default: return to_->encodeNil();
    }
    around_.push_back(level_);
    level_ = {.container = &value, .size = value.size(), .next = 0};
  }

  void end() {
    to_->end();
    level_ = around_.back();
    around_.pop_back();
  }

  StreamEncodingContainer* to_;
  Level level_ = {};  // the container being written, if any
  std::vector<Level> around_;
};

void JSONValue::encode(Encoder& encoder) const {
  auto to = encoder.streamContainer();
  Writer(to).write(node_);
}

}  // namespace tarvex
