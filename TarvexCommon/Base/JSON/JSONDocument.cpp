#include "TarvexCommon/Base/JSON/JSONDocument.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/ThreadSpare.h"

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

// Returns whether an integer may be there that is zero with a sign.
bool mayHaveNegativeZero(std::string_view text) {
  constexpr std::string_view goesOn = ".eE0123456789";
  constexpr std::string_view begins = ":[, \t\n\r";
  for (auto at = text.find("-0"); at < text.size(); at = text.find("-0", at + 2)) {
    const bool isFirst = at == 0 || begins.find(text[at - 1]) != std::string_view::npos;
    const bool isLast =
        at + 2 == text.size() || goesOn.find(text[at + 2]) == std::string_view::npos;
    if (isFirst && isLast) return true;
  }
  return false;
}

// Gives every long integer an exponent, and zero with a sign: the parser then reads it as a
// double where it would refuse it as too long for 64 bits, or lose the sign.
Data withDoublesForIntegers(std::string_view text) {
  Data result;
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

// Returns whether the text has a negative exponent or a long run of zeros, without
// which no number is too small for a double. Reads far less than all of it.
bool mayUnderflow(std::string_view text) {
  for (auto at = text.find('-', 1); at < text.size(); at = text.find('-', at + 1)) {
    if (text[at - 1] == 'e' || text[at - 1] == 'E') return true;
  }
  constexpr std::size_t stride = 128;  // a run of 300 zeros has two such steps inside
  for (std::size_t at = stride; at < text.size(); at += stride) {
    if (text[at] == '0' && text.find_first_not_of('0', at - stride) > at) return true;
  }
  return false;
}

void refuseUnderflow(std::string_view text) {
  if (!mayUnderflow(text)) return;
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

// The thread's parser while nobody reads. A reading inside another makes its own.
using IdleParser = ThreadSpare<std::unique_ptr<ParserWork>>;

// A parser for longer texts than this is not kept, nor is one whose text holds more memory.
constexpr std::size_t keptCapacity = 131072;

}  // namespace

ParserLease::ParserLease() : work_(IdleParser::take()) {
  if (work_ == nullptr) work_ = std::make_unique<ParserWork>();
}

ParserLease::~ParserLease() {
  const std::size_t capacity = std::max(work_->parser.capacity(), work_->text.capacity() / 2);
  if (capacity <= keptCapacity) IdleParser::keep(std::move(work_));
}

JSONDocument::JSONDocument(Bytes text) : size_(text.size()) {
  work_->text.reserve(size_ + JSONDecoder::spareCapacity);
  work_->text.assign(text.begin(), text.end());
  parse();
}

JSONDocument::JSONDocument(Data&& text) : size_(text.size()) {
  work_->text = std::move(text);
  parse();
}

void JSONDocument::parse() {
  auto error = parseDeep();
  if (error == simdjson::NUMBER_ERROR ||
      (error == simdjson::SUCCESS && mayHaveNegativeZero(text()))) {
    work_->text = withDoublesForIntegers(text());
    size_ = work_->text.size();
    error = parseDeep();
  }
  if (error == simdjson::DEPTH_ERROR) refuse("Too many nested arrays or dictionaries.");
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  if (error != simdjson::SUCCESS) refuse();
  refuseUnderflow(text());
}

// The parser does not count an innermost container that is empty, so that its
// own limit cannot tell 512 containers around a value from 513.
simdjson::error_code JSONDocument::parseDeep() {
  const auto error = parse(maximumDepth);
  if (error != simdjson::DEPTH_ERROR || nesting(text()) > maximumDepth) return error;
  return parse(maximumDepth + 1);
}

simdjson::error_code JSONDocument::parse(std::size_t depth) {
  work_->text.resize(size_ + JSONDecoder::spareCapacity);
  auto& parser = work_->parser;
  std::string_view body = text();
  if (body.starts_with(byteOrderMark)) body.remove_prefix(byteOrderMark.size());
  if (body.empty()) return simdjson::EMPTY;
  if (parser.capacity() < body.size() || parser.max_depth() != depth) {
    if (const auto error = parser.allocate(std::bit_ceil(body.size()), depth)) return error;
  }
  simdjson::dom::element root;
  const auto error = parser.parse(body.data(), body.size(), false).get(root);
  if (error == simdjson::SUCCESS) root_ = nodeOf(root);
  return error;
}

}  // namespace tarvex::coding
