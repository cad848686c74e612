// Any text read as a tree of records; what was read must be written, and be read
// again as an equal tree.
#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"

namespace tarvex {
namespace {

// A tree as a host might declare it.
struct Tree {
  std::optional<std::string> text;
  std::optional<double> number;
  std::optional<std::int64_t> integer;
  std::optional<Date> date;
  std::optional<std::vector<Tree>> list;
  std::optional<std::map<std::string, Tree>> children;

  explicit Tree(const Decoder& decoder) {
    const auto members = decoder.container();
    for (const auto& key : members.allKeys()) require(members.contains(key));
    text = members.decodeIfPresent<std::string>("t");
    number = members.decodeIfPresent<double>("n");
    integer = members.decodeIfPresent<std::int64_t>("i");
    date = members.decodeIfPresent<Date>("d");
    list = members.decodeIfPresent<std::vector<Tree>>("l");
    children = members.decodeIfPresent<std::map<std::string, Tree>>("c");
  }
  void encode(Encoder& to) const {
    auto members = to.container();
    members.encodeIfPresent("t", text);
    members.encodeIfPresent("n", number);
    members.encodeIfPresent("i", integer);
    members.encodeIfPresent("d", date);
    members.encodeIfPresent("l", list);
    members.encodeIfPresent("c", children);
  }
  bool operator==(const Tree&) const = default;
};

const JSONDecoder decoder{DateDecodingStrategy::secondsSince1970()};
const JSONEncoder encoder{DateEncodingStrategy::secondsSince1970()};

template <typename T>
void check(Bytes json) {
  std::optional<T> value;
  try {
    value.emplace(decoder.decode<T>(json));
  } catch (const DecodingError&) {
    return;
  }
  require(decoder.decode<T>(encoder.encode(*value)) == *value);
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tarvex::Bytes json(data, size);
  tarvex::check<tarvex::Tree>(json);
  tarvex::check<std::map<std::string, std::vector<std::optional<double>>>>(json);
  tarvex::check<std::vector<std::string>>(json);
  return 0;
}
