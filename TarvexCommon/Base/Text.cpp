#include "TarvexCommon/Base/Text.h"

#include <simdjson.h>
#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

namespace tarvex {
namespace {

// Reads the character in front of `text` and removes it; a malformed byte reads
// as U+FFFD.
utf8proc_int32_t takeCodePoint(std::string_view& text) {
  utf8proc_int32_t codePoint = 0xFFFD;
  const utf8proc_ssize_t length =
      utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                       static_cast<utf8proc_ssize_t>(text.size()), &codePoint);
  if (length <= 0) codePoint = 0xFFFD;
  text.remove_prefix(length <= 0 ? 1 : static_cast<std::size_t>(length));
  return codePoint;
}

using CodePoints = std::vector<utf8proc_int32_t>;

void appendDecomposed(CodePoints& codePoints, utf8proc_int32_t codePoint) {
  constexpr utf8proc_ssize_t longest = 4;  // of one character (UAX #15)
  const std::size_t size = codePoints.size();
  codePoints.resize(size + longest);
  const auto count = utf8proc_decompose_char(codePoint, codePoints.data() + size, longest,
                                             UTF8PROC_DECOMPOSE, nullptr);
  codePoints.resize(size + static_cast<std::size_t>(count));
}

int combiningClass(utf8proc_int32_t codePoint) {
  return utf8proc_get_property(codePoint)->combining_class;
}

// Puts each run of combining marks into canonical order.
void sortMarks(CodePoints& codePoints) {
  const auto isMark = [](utf8proc_int32_t codePoint) { return combiningClass(codePoint) != 0; };
  for (auto run = codePoints.begin(); run != codePoints.end();) {
    run = std::find_if(run, codePoints.end(), isMark);
    const auto end = std::find_if_not(run, codePoints.end(), isMark);
    std::ranges::stable_sort(run, end, {}, combiningClass);
    run = end;
  }
}

std::string toText(const CodePoints& codePoints) {
  std::string text;
  for (const utf8proc_int32_t codePoint : codePoints) {
    std::array<utf8proc_uint8_t, 4> encoded;
    const auto length = utf8proc_encode_char(codePoint, encoded.data());
    text.append(encoded.begin(), encoded.begin() + length);
  }
  return text;
}

}  // namespace

bool isASCII(std::string_view text) noexcept {
  std::uint64_t seen = 0;
  for (; text.size() >= sizeof seen; text.remove_prefix(sizeof seen)) {
    std::uint64_t word = 0;
    std::memcpy(&word, text.data(), sizeof word);
    seen |= word;
  }
  for (const char c : text) seen |= static_cast<unsigned char>(c);
  return (seen & 0x8080808080808080) == 0;
}

// Most texts are short and ASCII, for which the validator is far slower to start.
bool isUTF8(std::string_view text) noexcept {
  return isASCII(text) || simdjson::validate_utf8(text.data(), text.size());
}

std::size_t graphemeCount(std::string_view text) {
  if (isASCII(text) && text.find('\r') == std::string_view::npos) return text.size();
  if (text.empty()) return 0;
  std::size_t count = 1;
  utf8proc_int32_t state = 0;
  utf8proc_int32_t previous = takeCodePoint(text);
  while (!text.empty()) {
    const utf8proc_int32_t next = takeCodePoint(text);
    if (utf8proc_grapheme_break_stateful(previous, next, &state)) ++count;
    previous = next;
  }
  return count;
}

// Not by the library's own normalisation: its sorting takes quadratic time, and the
// keys of a foreign document may have thousands of marks in a row.
std::string canonicalForm(std::string_view text) {
  if (isASCII(text) || !isUTF8(text)) return std::string(text);
  CodePoints codePoints;
  while (!text.empty()) appendDecomposed(codePoints, takeCodePoint(text));
  sortMarks(codePoints);
  return toText(codePoints);
}

bool canonicallyEqual(std::string_view first, std::string_view second) {
  if (first == second) return true;
  if (isASCII(first) && isASCII(second)) return false;
  return canonicalForm(first) == canonicalForm(second);
}

}  // namespace tarvex
