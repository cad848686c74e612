#include "TarvexCommon/Base/JSON/JSONNode.h"

#include "TarvexCommon/Base/JSON/JSONDocument.h"
#include "TarvexCommon/Base/Text.h"

namespace tarvex::coding {
namespace {

using Array = simdjson::dom::array;
using Object = simdjson::dom::object;

Array arrayOf(JSONNode node) noexcept { return elementOf(node).get_array().value_unsafe(); }
Object objectOf(JSONNode node) noexcept { return elementOf(node).get_object().value_unsafe(); }

auto elementAt(JSONNode position) noexcept { return std::bit_cast<Array::iterator>(position); }
auto memberAt(JSONNode position) noexcept { return std::bit_cast<Object::iterator>(position); }

std::uint64_t wordsBetween(auto begin, auto end) noexcept {
  return std::bit_cast<JSONNode>(end).words[1] - std::bit_cast<JSONNode>(begin).words[1];
}

}  // namespace

// A container has one word in front of its elements and one behind.
std::size_t wordCount(JSONNode node) noexcept {
  const auto element = elementOf(node);
  if (element.is_array()) return 2 + wordsBetween(arrayOf(node).begin(), arrayOf(node).end());
  if (element.is_object()) return 2 + wordsBetween(objectOf(node).begin(), objectOf(node).end());
  return element.is_number() ? 2 : 1;
}

JSONElements::JSONElements(JSONNode array) noexcept
    : at_(std::bit_cast<JSONNode>(arrayOf(array).begin())),
      end_(std::bit_cast<JSONNode>(arrayOf(array).end())),
      sizeHint_(arrayOf(array).size()) {}

bool JSONElements::hasNext() const noexcept { return elementAt(at_) != elementAt(end_); }

JSONNode JSONElements::next() noexcept {
  auto position = elementAt(at_);
  const JSONNode node = nodeOf(*position);
  at_ = std::bit_cast<JSONNode>(++position);
  return node;
}

JSONMembers::JSONMembers(JSONNode object) noexcept
    : at_(std::bit_cast<JSONNode>(objectOf(object).begin())),
      end_(std::bit_cast<JSONNode>(objectOf(object).end())) {}

bool JSONMembers::hasNext() const noexcept { return memberAt(at_) != memberAt(end_); }

void JSONMembers::advance() noexcept {
  auto position = memberAt(at_);
  at_ = std::bit_cast<JSONNode>(++position);
}

std::string_view JSONMembers::key() const noexcept { return memberAt(at_).key(); }

JSONNode JSONMembers::value() const noexcept { return nodeOf(memberAt(at_).value()); }

namespace {

// Texts that begin with two different ASCII characters are not canonically equivalent, which says
// so of most keys.
bool beginApart(std::string_view first, std::string_view second) noexcept {
  if (first.empty() || second.empty() || first[0] == second[0]) return false;
  return ((static_cast<unsigned char>(first[0]) | static_cast<unsigned char>(second[0])) & 0x80) ==
         0;
}

}  // namespace

std::optional<JSONNode> findMember(JSONNode object, std::string_view key) {
  for (const auto& [name, value] : objectOf(object)) {
    if (beginApart(name, key)) continue;
    if (name == key || canonicallyEqual(name, key)) return nodeOf(value);
  }
  return std::nullopt;
}

UniqueKeys::UniqueKeys(JSONNode object) {
  for (const auto& [name, value] : objectOf(object)) allASCII_ = allASCII_ && isASCII(name);
}

bool UniqueKeys::insert(std::string_view key) {
  return allASCII_ || forms_.insert(canonicalForm(key)).second;
}

}  // namespace tarvex::coding
