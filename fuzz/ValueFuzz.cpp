// Any text as a JSON value, against what nlohmann-json makes of it, for which a zero byte is the
// end of the text.
#include <nlohmann/json.hpp>
#include <set>
#include <vector>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"
#include "TarvexCommon/Common/JSONValue.h"

namespace tarvex {
namespace {

using Peer = nlohmann::json;

// What the peer reads, nothing where it refuses; whether an object names a member twice, which
// the two read differently, and how deep the text goes.
class PeerReading {
 public:
  explicit PeerReading(std::string_view text) {
    const auto look = [this](int, Peer::parse_event_t event, Peer& parsed) {
      follow(event, parsed);
      return true;
    };
    value = Peer::parse(text, look, false);
  }

  Peer value;
  bool hasRepetition = false;
  std::size_t depth = 0;

 private:
  void follow(Peer::parse_event_t event, const Peer& key) {
    using Event = Peer::parse_event_t;
    if (event == Event::object_start || event == Event::array_start) keys_.emplace_back();
    if (event == Event::object_end || event == Event::array_end) keys_.pop_back();
    if (event == Event::key) hasRepetition |= !keys_.back().insert(key).second;
    depth = std::max(depth, keys_.size());
  }

  std::vector<std::set<std::string>> keys_;
};

// A value that is too small for a double is refused here, and zero there.
bool mayUnderflow(std::string_view text) {
  return text.find("e-") != text.npos || text.find("E-") != text.npos ||
         text.find(std::string(300, '0')) != text.npos;
}

bool areEqual(const JSONValue::Element& ours, const Peer& theirs);

// Members whose names are canonically equal are one of ours, and several of theirs.
bool areEqualMembers(const JSONValue& ours, const Peer& theirs) {
  if (ours.members().size() > theirs.size()) return false;
  for (const auto& [key, value] : ours.members()) {
    const auto found = theirs.find(std::string(key));
    if (found == theirs.end() || !areEqual(value, *found)) return false;
  }
  return true;
}

bool areEqualElements(const JSONValue& ours, const Peer& theirs) {
  if (ours.elements().size() != theirs.size()) return false;
  std::size_t i = 0;
  for (const auto& element : ours.elements()) {
    if (!areEqual(element, theirs[i++])) return false;
  }
  return true;
}

bool areEqual(const JSONValue::Element& ours, const Peer& theirs) {
  if (!ours) return theirs.is_null();
  switch (ours->valueCase()) {
    case JSONValue::Case::boolean: return theirs == *ours->get<bool>();
    case JSONValue::Case::number: return theirs.get<double>() == *ours->get<double>();
    case JSONValue::Case::string: return theirs == *ours->get<std::string>();
    case JSONValue::Case::array: return areEqualElements(*ours, theirs);
    case JSONValue::Case::object: return areEqualMembers(*ours, theirs);
  }
  return false;
}

void check(Bytes json) {
  constexpr std::size_t maximumDepth = 512;
  if (json.text().find('\0') != std::string_view::npos) return;
  const PeerReading peer(json.text());
  JSONValue::Element ours;
  try {
    ours = JSONDecoder().decode<JSONValue::Element>(json);
  } catch (const DecodingError&) {
    require(peer.value.is_discarded() || peer.depth > maximumDepth || mayUnderflow(json.text()));
    return;
  }
  require(!peer.value.is_discarded());
  if (peer.hasRepetition) return;
  require(areEqual(ours, peer.value));
  if (ours) require(areEqual(ours, Peer::parse(JSONEncoder().encode(*ours))));
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::check({data, size});
  return 0;
}
