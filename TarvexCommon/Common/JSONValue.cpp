#include "TarvexCommon/Common/JSONValue.h"

#include <algorithm>
#include <unordered_map>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Base/JSON/JSONDocument.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex {
namespace {

using Element = std::optional<JSONValue>;

// More members than that are found by an index.
constexpr std::size_t fewMembers = 16;

}  // namespace

// The positions of the members, by the canonical forms of their keys.
class JSONValue::Object::Index {
 public:
  std::optional<std::size_t> find(std::string_view key) const {
    const auto found = positions_.find(canonicalForm(key));
    return found == positions_.end() ? std::nullopt : std::optional(found->second);
  }

  void add(std::string_view key, std::size_t position) {
    positions_.emplace(canonicalForm(key), position);
  }

 private:
  std::unordered_map<std::string, std::size_t> positions_;
};

JSONValue::Object::Object() noexcept = default;
JSONValue::Object::Object(Object&& other) noexcept = default;
JSONValue::Object& JSONValue::Object::operator=(Object&& other) noexcept = default;
JSONValue::Object::~Object() = default;

JSONValue::Object::Object(const Object& other)
    : members_(other.members_),
      index_(other.index_ ? std::make_unique<Index>(*other.index_) : nullptr),
      hasOnlyASCII_(other.hasOnlyASCII_),
      height_(other.height_) {}

JSONValue::Object& JSONValue::Object::operator=(const Object& other) {
  return *this = Object(other);
}

JSONValue::Object::Object(std::initializer_list<Member> members) {
  for (const Member& member : members) {
    if (!emplace(member.key, member.value)) {
      fatalError("Dictionary literal contains duplicate keys");
    }
  }
}

std::optional<std::size_t> JSONValue::Object::position(std::string_view key) const {
  if (index_) return index_->find(key);
  const bool byBytes = hasOnlyASCII_ && isASCII(key);
  for (std::size_t i = 0; i < members_.size(); ++i) {
    const std::string& other = members_[i].key;
    if (byBytes ? other == key : canonicallyEqual(other, key)) return i;
  }
  return std::nullopt;
}

const Element* JSONValue::Object::find(std::string_view key) const {
  const auto at = position(key);
  return at ? &members_[*at].value : nullptr;
}

bool JSONValue::Object::emplace(std::string_view key, Element value) {
  if (position(key)) return false;
  append(key) = std::move(value);
  return true;
}

Element& JSONValue::Object::append(std::string_view key) {
  hasOnlyASCII_ = hasOnlyASCII_ && isASCII(key);
  Member& member = members_.emplace_back();
  member.key = key;
  if (index_) {
    index_->add(key, members_.size() - 1);
  } else if (members_.size() > fewMembers) {
    index_ = std::make_unique<Index>();
    for (std::size_t i = 0; i < members_.size(); ++i) index_->add(members_[i].key, i);
  }
  return member.value;
}

void JSONValue::Object::set(std::string_view key, Element value) {
  if (const auto at = position(key)) {
    members_[*at].value = std::move(value);
  } else {
    append(key) = std::move(value);
  }
}

std::size_t JSONValue::Object::size() const noexcept { return members_.size(); }
const JSONValue::Member* JSONValue::Object::begin() const noexcept { return members_.data(); }
const JSONValue::Member* JSONValue::Object::end() const noexcept {
  return members_.data() + members_.size();
}

JSONValue JSONValue::array(Array elements) {
  JSONValue made(false);
  made.value_.emplace<Elements>().array = std::move(elements);
  made.measure();
  return made;
}

JSONValue JSONValue::object(Object members) {
  JSONValue made(false);
  made.value_ = std::move(members);
  made.measure();
  return made;
}

// The children of a value that is none of a container are none.
std::size_t JSONValue::childCount() const noexcept {
  if (const auto* elements = get<Array>()) return elements->size();
  const auto* members = get<Object>();
  return members == nullptr ? 0 : members->size();
}

const Element& JSONValue::child(std::size_t index) const noexcept {
  if (const auto* elements = get<Array>()) return (*elements)[index];
  return std::get<Object>(value_).members_[index].value;
}

Element& JSONValue::child(std::size_t index) noexcept {
  return const_cast<Element&>(std::as_const(*this).child(index));
}

void JSONValue::measure() noexcept {
  std::uint32_t below = 0;
  for (std::size_t i = 0; i < childCount(); ++i) {
    if (child(i)) below = std::max(below, child(i)->height());
  }
  if (auto* elements = std::get_if<Elements>(&value_)) elements->height = below + 1;
  else std::get<Object>(value_).height_ = below + 1;
}

// Takes the tree apart from the top, so that no destructor finds more than one level. Where
// there is no memory for the list, the destructors go down all the same.
void JSONValue::dismantle() noexcept {
  try {
    std::vector<JSONValue> pending;
    const auto takeChildren = [&pending](JSONValue& from) {
      for (std::size_t i = 0; i < from.childCount(); ++i) {
        if (Element& child = from.child(i); child && child->childCount() > 0) {
          pending.push_back(std::move(*child));
        }
      }
    };
    takeChildren(*this);
    while (!pending.empty()) {
      JSONValue next = std::move(pending.back());
      pending.pop_back();
      takeChildren(next);
    }
  } catch (const std::bad_alloc&) {
  }
}

// Copies all but the children, which are absent in the copy.
void JSONValue::copyShape(const JSONValue& other) {
  if (const auto* elements = other.get<Array>()) {
    value_.emplace<Elements>(Elements{.array = Array(elements->size()), .height = other.height()});
  } else if (const auto* members = other.get<Object>()) {
    auto& copy = value_.emplace<Object>();
    copy.members_.reserve(members->size());
    for (const Member& member : *members) copy.members_.push_back({member.key, std::nullopt});
    copy.hasOnlyASCII_ = members->hasOnlyASCII_;
    copy.height_ = members->height_;
    if (members->index_) copy.index_ = std::make_unique<Object::Index>(*members->index_);
  } else {
    value_ = other.value_;
  }
}

JSONValue::JSONValue(const JSONValue& other) : value_(false) {
  copyShape(other);
  std::vector<std::pair<const JSONValue*, JSONValue*>> pending;
  const auto copyChildren = [&pending](const JSONValue& from, JSONValue& to) {
    for (std::size_t i = 0; i < from.childCount(); ++i) {
      if (!from.child(i)) continue;
      JSONValue& copy = to.child(i).emplace(false);
      copy.copyShape(*from.child(i));
      if (copy.childCount() > 0) pending.emplace_back(&*from.child(i), &copy);
    }
  };
  copyChildren(other, *this);
  while (!pending.empty()) {
    const auto [from, to] = pending.back();
    pending.pop_back();
    copyChildren(*from, *to);
  }
}

JSONValue& JSONValue::operator=(const JSONValue& other) { return *this = JSONValue(other); }

// Compares all but the children.
bool JSONValue::hasShapeOf(const JSONValue& other) const {
  if (value_.index() != other.value_.index() || childCount() != other.childCount()) return false;
  switch (valueCase()) {
    case Case::boolean: return *get<bool>() == *other.get<bool>();
    case Case::number: return *get<double>() == *other.get<double>();
    case Case::string: return canonicallyEqual(*get<std::string>(), *other.get<std::string>());
    default: return true;
  }
}

// Returns the child of the same index, or of the same key.
const Element* JSONValue::counterpart(std::size_t index, const JSONValue& other) const {
  const auto* members = get<Object>();
  if (members == nullptr) return &other.child(index);
  return other.get<Object>()->find(members->members_[index].key);
}

bool operator==(const JSONValue& first, const JSONValue& second) {
  std::vector<std::pair<const JSONValue*, const JSONValue*>> pending = {{&first, &second}};
  while (!pending.empty()) {
    const auto [one, other] = pending.back();
    pending.pop_back();
    if (!one->hasShapeOf(*other)) return false;
    for (std::size_t i = 0; i < one->childCount(); ++i) {
      const Element& child = one->child(i);
      const Element* twin = one->counterpart(i, *other);
      if (twin == nullptr || child.has_value() != twin->has_value()) return false;
      if (child) pending.emplace_back(&*child, &**twin);
    }
  }
  return true;
}

// Reads a value of a parsed text, which is no deeper than the parser admits.
class JSONValue::Reader {
 public:
  using Node = simdjson::dom::element;

  // Reads into an absent element.
  static void read(Node node, Element& to) {
    if (node.type() == Type::NULL_VALUE) return;
    auto& value = to.emplace(false).value_;
    switch (node.type()) {
      case Type::BOOL: value.emplace<bool>(node.get_bool().value_unsafe()); break;
      case Type::STRING: value.emplace<std::string>(node.get_string().value_unsafe()); break;
      case Type::ARRAY:
        readElements(node, value.emplace<Elements>().array);
        to->measure();
        break;
      case Type::OBJECT:
        readMembers(node, value.emplace<Object>());
        to->measure();
        break;
      default: value.emplace<double>(node.get_double().value_unsafe());
    }
  }

 private:
  using Type = simdjson::dom::element_type;

  static void readElements(Node node, Array& elements) {
    const auto array = node.get_array().value_unsafe();
    elements.reserve(array.size());
    for (const Node element : array) read(element, elements.emplace_back());
  }

  // Of equal keys the first counts.
  static void readMembers(Node node, Object& object) {
    const auto members = node.get_object().value_unsafe();
    object.members_.reserve(members.size());
    for (const auto& [key, value] : members) {
      if (!object.position(key)) read(value, object.append(key));
    }
  }
};

JSONValue::JSONValue(const Decoder& decoder) : value_(false) {
  Element value;
  Reader::read(coding::elementOf(decoder.singleValueContainer().node()), value);
  if (!value) throw JSONValueDecodingError();
  *this = std::move(*value);
}

void JSONValue::begin(StreamEncodingContainer& to) const {
  switch (valueCase()) {
    case Case::boolean: return to.encode(*get<bool>());
    case Case::number: return to.encode(*get<double>());
    case Case::string: return to.encode(std::string_view(*get<std::string>()));
    case Case::array: return to.beginArray();
    case Case::object: return to.beginObject();
  }
}

void JSONValue::encode(Encoder& encoder) const {
  struct Level {
    const JSONValue* value;
    std::size_t next;
  };
  auto to = encoder.streamContainer();
  std::vector<Level> levels;
  const auto write = [&](const JSONValue& value) {
    value.begin(to);
    if (value.valueCase() >= Case::array) levels.push_back({.value = &value, .next = 0});
  };
  write(*this);
  while (!levels.empty()) {
    auto& [value, next] = levels.back();
    if (next == value->childCount()) {
      to.end();
      levels.pop_back();
      continue;
    }
    if (const auto* members = value->get<Object>()) to.key(members->members_[next].key);
    const Element& child = value->child(next++);
    if (child) write(*child);
    else to.encodeNil();
  }
}

}  // namespace tarvex
