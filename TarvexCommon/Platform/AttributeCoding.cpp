#include "TarvexCommon/Platform/AttributeCoding.h"

#include <bit>

#include "TarvexCommon/Base/ByteCoding.h"

namespace tarvex {
namespace {

enum Kind : std::uint8_t { truth = 1, number = 2, text = 3, bytes = 4, date = 5 };

void appendSized(Data& to, Kind kind, Bytes what) {
  to.push_back(kind);
  append(to, bigEndian(static_cast<std::uint32_t>(what.size())));
  append(to, what);
}

void appendNumber(Data& to, Kind kind, std::uint64_t what) {
  to.push_back(kind);
  append(to, bigEndian(what));
}

void appendValue(Data& to, const ItemValue& value) {
  if (const auto* isTrue = value.get<bool>()) {
    append(to, std::array<std::uint8_t, 2>{truth, *isTrue});
  } else if (const auto* whole = value.get<std::int64_t>()) {
    appendNumber(to, number, static_cast<std::uint64_t>(*whole));
  } else if (const auto* characters = value.get<std::string>()) {
    appendSized(to, text, *characters);
  } else if (const auto* data = value.get<Data>()) {
    appendSized(to, bytes, *data);
  } else if (const auto* when = value.get<Date>()) {
    appendNumber(to, date, std::bit_cast<std::uint64_t>(when->timeIntervalSince1970()));
  }
}

std::size_t sizeLimit(const ItemDictionary& attributes) {
  std::size_t size = 0;
  for (const auto& [name, value] : attributes) {
    constexpr std::size_t overhead = 10;  // lengths, kind, a number
    const auto* text = value.get<std::string>();
    const auto* data = value.get<Data>();
    size += overhead + name.size() + (text ? text->size() : 0) + (data ? data->size() : 0);
  }
  return size;
}

// Takes things off the front; when there is not enough it takes all and has failed.
class Reader {
 public:
  explicit Reader(Bytes rest) : rest_(rest) {}

  bool isAtEnd() const { return rest_.empty(); }
  bool failed() const { return failed_; }

  Bytes take(std::size_t count) {
    if (count > rest_.size()) {
      failed_ = true;
      return rest_ = rest_.first(0);
    }
    const Bytes taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  std::uint64_t takeNumber(std::size_t size) { return fromBigEndian(take(size)); }
  Bytes takeSized(std::size_t sizeOfSize) { return take(takeNumber(sizeOfSize)); }

 private:
  Bytes rest_;
  bool failed_ = false;
};

ItemValue takeValue(Reader& from) {
  switch (from.takeNumber(1)) {
    case truth: return from.takeNumber(1) != 0;
    case number: return static_cast<std::int64_t>(from.takeNumber(8));
    case text: return from.takeSized(4).text();
    case bytes: return toData(from.takeSized(4));
    case date: return Date::fromTimeIntervalSince1970(std::bit_cast<double>(from.takeNumber(8)));
    default: return {};
  }
}

}  // namespace

// Room for all is made at once: a buffer that grows leaves parts behind, unwiped.
Data encoded(const ItemDictionary& attributes) {
  Data result;
  result.reserve(sizeLimit(attributes));
  for (const auto& [name, value] : attributes) {
    result.push_back(static_cast<std::uint8_t>(name.size()));
    append(result, name);
    appendValue(result, value);
  }
  return result;
}

std::optional<ItemDictionary> decodedAttributes(Bytes encodedBytes) {
  ItemDictionary attributes;
  for (Reader from(encodedBytes); !from.isAtEnd();) {
    const std::string name(from.takeSized(1).text());
    ItemValue value = takeValue(from);
    if (from.failed() || value.isNothing()) return std::nullopt;
    attributes.emplace_hint(attributes.end(), name, std::move(value));
  }
  return attributes;
}

}  // namespace tarvex
