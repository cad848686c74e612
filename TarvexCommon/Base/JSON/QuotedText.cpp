#include "TarvexCommon/Base/JSON/QuotedText.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "TarvexCommon/Base/Text.h"

namespace tarvex::coding {
namespace {

using Characters [[gnu::vector_size(16)]] = unsigned char;
using Words [[gnu::vector_size(16)]] = std::uint64_t;

bool any(Words marks) { return (marks[0] | marks[1]) != 0; }

bool needsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\'; }

// What was seen of a text while it was copied.
struct Seen {
  Words escapes = {};     // not zero where there is a character that needs one
  Words characters = {};  // the bits of all of them

  void add(Characters part) {
    escapes |= std::bit_cast<Words>((part < ' ') | (part == '"') | (part == '\\'));
    characters |= std::bit_cast<Words>(part);
  }
  Words notASCII() const { return characters & 0x8080808080808080; }
};

template <typename Part>
Part copyPart(std::string_view from, std::size_t at, char* to) {
  Part part;
  std::memcpy(&part, from.data() + at, sizeof part);
  std::memcpy(to + at, &part, sizeof part);
  return part;
}

// Copies a text of n to 2n characters, n the size of a half, as two halves that may overlap.
// Spaces take the places of what they do not fill.
template <typename Half>
Characters copyHalves(std::string_view from, char* to) {
  constexpr unsigned bits = 8 * sizeof(Half);
  constexpr std::uint64_t spaces = 0x2020202020202020;
  const auto first = std::uint64_t{copyPart<Half>(from, 0, to)};
  const auto last = std::uint64_t{copyPart<Half>(from, from.size() - sizeof(Half), to)};
  if constexpr (bits == 64) return std::bit_cast<Characters>(Words{first, last});
  const std::uint64_t both = first | last << bits % 64 | (bits < 32 ? spaces << 2 * bits % 64 : 0);
  return std::bit_cast<Characters>(Words{both, both});
}

// Copies a text of sixteen characters and more.
void copyVectors(std::string_view from, char* to, Seen& seen) {
  const std::size_t last = from.size() - sizeof(Characters);
  seen.add(copyPart<Characters>(from, last, to));
  for (std::size_t at = 0; at < last; at += sizeof(Characters)) {
    seen.add(copyPart<Characters>(from, at, to));
  }
}

Seen copyLooking(std::string_view from, char* to) {
  Seen seen;
  if (from.size() >= 16) copyVectors(from, to, seen);
  else if (from.size() >= 8) seen.add(copyHalves<std::uint64_t>(from, to));
  else if (from.size() >= 4) seen.add(copyHalves<std::uint32_t>(from, to));
  else if (from.size() >= 2) seen.add(copyHalves<std::uint16_t>(from, to));
  else if (from.size() == 1) seen.add(copyHalves<std::uint8_t>(from, to));
  return seen;
}

void addEscape(Output& json, char c) {
  constexpr std::string_view named = "\"\\\b\f\n\r\t";
  constexpr std::string_view letters = "\"\\bfnrt";
  constexpr std::string_view hex = "0123456789abcdef";
  json.add('\\');
  if (const auto at = named.find(c); at != std::string_view::npos) {
    json.add(letters[at]);
  } else {
    json.add("u00");
    json.add(hex[static_cast<std::size_t>(c) >> 4]);
    json.add(hex[static_cast<std::size_t>(c) & 15]);
  }
}

void addEscaped(Output& json, std::string_view text, char suffix) {
  json.add('"');
  std::size_t added = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!needsEscape(text[i])) continue;
    json.add(text.substr(added, i - added));
    addEscape(json, text[i]);
    added = i + 1;
  }
  json.add(text.substr(added));
  json.add('"');
  json.add(suffix);
}

constexpr std::size_t extra = 3;  // two quotes and what follows them

// Adds a text that was copied behind the room for its first quote.
void addCopied(Output& json, char* to, std::size_t size, char suffix) {
  to[0] = to[size + 1] = '"';
  to[size + 2] = suffix;
  json.added(size + extra);
}

// Adds what was copied behind `to`, or the text with escapes; returns false where it is not UTF-8.
[[gnu::noinline]] bool addSpecial(Output& json, char* to, std::string_view text, char suffix,
                                  bool hasEscapes) {
  if (!isUTF8(text)) return false;
  if (hasEscapes) addEscaped(json, text, suffix);
  else addCopied(json, to, text.size(), suffix);
  return true;
}

[[gnu::noinline]] bool growAndAddQuoted(Output& json, std::string_view text, char suffix) {
  json.room(text.size() + extra);
  return addQuoted(json, text, suffix);
}

}  // namespace

// Most texts are ASCII without escapes, and are copied before that is known. What is rare has
// functions of its own, so that this one keeps no registers for a call.
bool addQuoted(Output& json, std::string_view text, char suffix) {
  if (!json.hasRoom(text.size() + extra)) return growAndAddQuoted(json, text, suffix);
  char* const to = json.room(text.size() + extra);
  const Seen seen = copyLooking(text, to + 1);
  if (any(seen.escapes | seen.notASCII())) {
    return addSpecial(json, to, text, suffix, any(seen.escapes));
  }
  addCopied(json, to, text.size(), suffix);
  return true;
}

}  // namespace tarvex::coding
