#include "TarvexCommon/Base/JSON/JSONDocument.h"

#include <algorithm>
#include <charconv>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/Wiped.h"

namespace tarvex::coding {
namespace {

static_assert(JSONDecoder::spareCapacity >= simdjson::SIMDJSON_PADDING);

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void refuse(std::string_view reason = "The given data was not valid JSON.") {
  throw DecodingError::dataCorrupted({{}, std::string(reason)});
}

// Returns the end of the string that begins at `start`, behind its quote.
std::size_t endOfString(std::string_view text, std::size_t start) {
  for (std::size_t i = start + 1; i < text.size(); ++i) {
    if (text[i] == '\\') ++i;
    else if (text[i] == '"') return i + 1;
  }
  return text.size();
}

std::size_t endOfNumber(std::string_view text, std::size_t start) {
  return std::min(text.find_first_not_of("+-.0123456789Ee", start), text.size());
}

// Calls `visit` with each number of the text, and `copy` with what lies between.
template <typename Visit, typename Copy>
void forEachNumber(std::string_view text, Visit visit, Copy copy) {
  for (std::size_t i = 0, end = 0; i < text.size(); i = end) {
    const bool isNumber = text[i] == '-' || (text[i] >= '0' && text[i] <= '9');
    end = isNumber ? endOfNumber(text, i) : text[i] == '"' ? endOfString(text, i) : i + 1;
    const std::string_view piece = text.substr(i, end - i);
    if (isNumber) visit(piece);
    else copy(piece);
  }
}

// Returns whether the text is an integer that an `Int` does not hold.
template <typename Int>
bool isTooLong(std::string_view number) {
  Int value = 0;
  if (number.find_first_of(".eE") != std::string_view::npos) return false;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
  return read.ec != std::errc();
}

// Returns how many containers stand in one another.
std::size_t nesting(std::string_view text) {
  std::size_t depth = 0, deepest = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') i = endOfString(text, i) - 1;
    else if (text[i] == '[' || text[i] == '{') deepest = std::max(deepest, ++depth);
    else if (text[i] == ']' || text[i] == '}') --depth;
  }
  return deepest;
}

// Where minus signs stand that the parser does not read as they are meant.
struct MinusSigns {
  bool beforeZero = false;  // an integer that is zero with a sign may be there
  bool inExponent = false;  // a number that is too small for a double may be there
};

bool isIntegerZero(std::string_view text, std::size_t minus) {
  constexpr std::string_view begins = ":[, \t\n\r\xBF";  // the last ends a byte order mark
  constexpr std::string_view goesOn = ".eE0123456789";
  const std::string_view rest = text.substr(minus + 1);
  const bool isFirst = minus == 0 || begins.find(text[minus - 1]) != std::string_view::npos;
  const bool isLast = rest.size() <= 1 || goesOn.find(rest[1]) == std::string_view::npos;
  return isFirst && isLast && rest.starts_with('0');
}

MinusSigns minusSigns(std::string_view text) {
  MinusSigns signs;
  for (auto at = text.find('-'); at < text.size(); at = text.find('-', at + 1)) {
    if (at > 0 && (text[at - 1] | 0x20) == 'e') signs.inExponent = true;
    else if (isIntegerZero(text, at)) signs.beforeZero = true;
  }
  return signs;
}

// Gives every long integer an exponent, and zero with a sign: the parser then reads it as a
// double where it would refuse it as too long for 64 bits, or lose the sign.
Data withDoublesForIntegers(std::string_view text) {
  Data result;
  result.reserve(2 * text.size() + JSONDecoder::spareCapacity);  // no copy is left behind
  const auto append = [&](std::string_view piece) {
    result.insert(result.end(), piece.begin(), piece.end());
  };
  const auto appendNumber = [&](std::string_view number) {
    append(number);
    const bool isLong = isTooLong<std::int64_t>(number) && isTooLong<std::uint64_t>(number);
    if (isLong || number == "-0") append("e0");
  };
  forEachNumber(text, appendNumber, append);
  return result;
}

// Returns whether the number is not zero but reads as zero.
bool isUnderflow(std::string_view number) {
  const std::string_view significand = number.substr(0, number.find_first_of("eE"));
  if (significand.find_first_of("123456789") == std::string_view::npos) return false;
  double value = 0;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
  return read.ec == std::errc::result_out_of_range || value == 0;
}

// Returns whether there is a long run of zeros. Reads far less than all of the text.
bool hasLongZeros(std::string_view text) {
  constexpr std::size_t stride = 128;  // a run of 300 zeros has two such steps inside
  for (std::size_t at = stride; at < text.size(); at += stride) {
    if (text[at] == '0' && text.find_first_not_of('0', at - stride) > at) return true;
  }
  return false;
}

void refuseUnderflow(std::string_view text) {
  const auto check = [](std::string_view number) {
    if (isUnderflow(number)) refuse();
  };
  forEachNumber(text, check, [](std::string_view) {});
}

// The parser's own static objects, made on its first use, have to outlive those of the
// host, which may read JSON when they are destroyed: so it is used first of all.
[[gnu::constructor(101)]] void useParser() {
  const bool isText = simdjson::validate_utf8("", 0);
  (void)isText;
}

}  // namespace

void JSONDocument::read(Bytes text) {
  size_ = text.size();
  text_.clear();
  text_.reserve(size_ + JSONDecoder::spareCapacity);
  text_.assign(text.begin(), text.end());
  parse();
}

void JSONDocument::read(Data&& text) {
  if (text.capacity() - text.size() < JSONDecoder::spareCapacity) return read(Bytes(text));
  size_ = text.size();
  text_ = std::move(text);
  parse();
}

std::size_t JSONDocument::capacity() const noexcept {
  return std::max(parser_.capacity(), text_.capacity() / 2);
}

// A string takes five bytes in the parser's memory beside its own, and three in the text; the
// parser has, and may use, a padding more. A value takes a word for each character at most, and the
// document three.
void JSONDocument::wipe() noexcept {
  const std::size_t read = std::min(size_, parser_.doc.capacity());
  if (read > 0) {
    overwrite(parser_.doc.string_buf.get(), 5 * read / 3 + simdjson::SIMDJSON_PADDING);
    overwrite(parser_.doc.tape.get(), (read + 3) * sizeof(std::uint64_t));
  }
  overwrite(text_.data(), text_.size());
}

void JSONDocument::parse() {
  const MinusSigns signs = minusSigns(text());
  auto error = parseDeep();
  if (error == simdjson::NUMBER_ERROR || (error == simdjson::SUCCESS && signs.beforeZero)) {
    Data changed = withDoublesForIntegers(text());
    wipe();
    text_ = std::move(changed);
    size_ = text_.size();
    error = parseDeep();
  }
  if (error == simdjson::DEPTH_ERROR) refuse("Too many nested arrays or dictionaries.");
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  if (error != simdjson::SUCCESS) refuse();
  // Without either no number is too small for a double.
  if (signs.inExponent || hasLongZeros(text())) refuseUnderflow(text());
}

// The parser does not count an innermost container that is empty, so that its
// own limit cannot tell 512 containers around a value from 513.
simdjson::error_code JSONDocument::parseDeep() {
  const auto error = parse(maximumDepth);
  if (error != simdjson::DEPTH_ERROR || nesting(text()) > maximumDepth) return error;
  return parse(maximumDepth + 1);
}

simdjson::error_code JSONDocument::parse(std::size_t depth) {
  text_.resize(size_ + JSONDecoder::spareCapacity);
  std::string_view body = text();
  if (body.starts_with(byteOrderMark)) body.remove_prefix(byteOrderMark.size());
  if (body.empty()) return simdjson::EMPTY;
  if (parser_.capacity() < body.size() || parser_.max_depth() != depth) {
    if (const auto error = parser_.allocate(std::bit_ceil(body.size()), depth)) return error;
  }
  simdjson::dom::element root;
  const auto error = parser_.parse(body.data(), body.size(), false).get(root);
  if (error == simdjson::SUCCESS) root_ = nodeOf(root);
  return error;
}

}  // namespace tarvex::coding
