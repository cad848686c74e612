#include "TarvexCommon/Base/Base64.h"

#include <array>

#include "TarvexCommon/Base/Base64Segment.h"

namespace tarvex {
namespace {

constexpr std::string_view standardAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view urlAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

constexpr std::uint32_t notADigit = 1U << 31;

// For each place in a group of four, what each character adds to the group's 24
// bits, or `notADigit`.
using DigitTables = std::array<std::array<std::uint32_t, 256>, 4>;

constexpr void addAlphabet(DigitTables& tables, std::string_view alphabet) {
  for (std::uint32_t value = 0; value < 64; ++value) {
    for (std::size_t place = 0; place < 4; ++place) {
      tables[place][static_cast<unsigned char>(alphabet[value])] = value << (18 - 6 * place);
    }
  }
}

constexpr DigitTables makeTables(bool withUrlDigits) {
  DigitTables tables{};
  for (auto& table : tables) table.fill(notADigit);
  addAlphabet(tables, standardAlphabet);
  if (withUrlDigits) addAlphabet(tables, urlAlphabet);
  return tables;
}

constexpr DigitTables standardDigits = makeTables(false);
constexpr DigitTables segmentDigits = makeTables(true);

// Writes the digits of `bytes` without padding to `out`; returns the end.
char* writeDigits(char* out, Bytes bytes, std::string_view alphabet) {
  const auto digit = [&](unsigned value) { return alphabet[value & 63]; };
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const auto group = static_cast<unsigned>(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]);
    *out++ = digit(group >> 18);
    *out++ = digit(group >> 12);
    *out++ = digit(group >> 6);
    *out++ = digit(group);
  }
  if (i == bytes.size()) return out;
  const bool two = i + 2 == bytes.size();
  const auto group = static_cast<unsigned>(bytes[i] << 16 | (two ? bytes[i + 1] << 8 : 0));
  *out++ = digit(group >> 18);
  *out++ = digit(group >> 12);
  if (two) *out++ = digit(group >> 6);
  return out;
}

// Returns the bits of up to four digits, with `notADigit` among them if one is none.
std::uint32_t group(std::string_view digits, const DigitTables& tables) {
  std::uint32_t bits = 0;
  for (std::size_t place = 0; place < digits.size(); ++place) {
    bits |= tables[place][static_cast<unsigned char>(digits[place])];
  }
  return bits;
}

// Decodes unpadded digits to `out`; returns whether all were digits.
bool readDigits(std::string_view digits, const DigitTables& tables, std::uint8_t* out) {
  std::uint32_t seen = 0;
  for (; digits.size() >= 4; digits.remove_prefix(4)) {
    const std::uint32_t bits = group(digits.substr(0, 4), tables);
    seen |= bits;
    *out++ = static_cast<std::uint8_t>(bits >> 16);
    *out++ = static_cast<std::uint8_t>(bits >> 8);
    *out++ = static_cast<std::uint8_t>(bits);
  }
  const std::uint32_t bits = group(digits, tables);
  seen |= bits;
  if (digits.size() >= 2) *out++ = static_cast<std::uint8_t>(bits >> 16);
  if (digits.size() == 3) *out++ = static_cast<std::uint8_t>(bits >> 8);
  return (seen & notADigit) == 0;
}

// Decodes `text` as if `missing` more "=" stood at its end.
std::optional<Data> decode(std::string_view text, std::size_t missing, const DigitTables& tables,
                           std::size_t spare) {
  const std::string_view digits = text.substr(0, text.find_last_not_of('=') + 1);
  const std::size_t rest = digits.size() % 4;
  const std::size_t padding = text.size() - digits.size() + missing;
  if (rest == 1 || padding != (4 - rest) % 4) return std::nullopt;
  Data bytes;
  const std::size_t size = digits.size() / 4 * 3 + (rest == 0 ? 0 : rest - 1);
  bytes.reserve(size + spare);
  bytes.resize(size);
  if (!readDigits(digits, tables, bytes.data())) return std::nullopt;
  return bytes;
}

}  // namespace

std::string toBase64(Bytes bytes) {
  std::string text((bytes.size() + 2) / 3 * 4, '=');
  writeDigits(text.data(), bytes, standardAlphabet);
  return text;
}

std::optional<Data> fromBase64(std::string_view text) { return decode(text, 0, standardDigits, 0); }

void appendBase64Segment(std::string& text, Bytes bytes) {
  const std::size_t start = text.size();
  text.resize(start + (bytes.size() * 4 + 2) / 3);
  writeDigits(text.data() + start, bytes, urlAlphabet);
}

std::string toBase64Segment(Bytes bytes) {
  std::string text;
  appendBase64Segment(text, bytes);
  return text;
}

std::optional<Data> fromBase64Segment(std::string_view text, std::size_t spare) {
  // A text of which the characters are not its bytes is refused in any case, so
  // that its length in characters need not be known.
  return decode(text, (4 - text.size() % 4) % 4, segmentDigits, spare);
}

}  // namespace tarvex
