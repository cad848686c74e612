#include "TarvexCommon/Base/JSON/JSONDocument.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/JSON/CodingError.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"

namespace tarvex {
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

// Gives every long integer an exponent: the parser then reads it as a double
// where it would refuse it as too long for 64 bits.
Data withLongIntegersAsDoubles(std::string_view text) {
  Data result;
  const auto append = [&](std::string_view piece) {
    result.insert(result.end(), piece.begin(), piece.end());
  };
  const auto appendNumber = [&](std::string_view number) {
    append(number);
    if (isTooLong<std::int64_t>(number) && isTooLong<std::uint64_t>(number)) append("e0");
  };
  forEachNumber(text, appendNumber, append);
  return result;
}

bool isUnderflow(std::string_view number) {
  const std::string_view significand = number.substr(0, number.find_first_of("eE"));
  if (significand.find_first_of("123456789") == std::string_view::npos) return false;
  double value = 0;
  const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
  return read.ec == std::errc::result_out_of_range || value == 0;
}

// The thread's parser while nobody reads. A reading inside another finds none and
// makes its own.
thread_local std::unique_ptr<simdjson::dom::parser> idleParser;

// A parser for longer texts than this is not kept.
constexpr std::size_t keptCapacity = 16384;

}  // namespace

ParserLease::ParserLease() : parser_(std::move(idleParser)) {
  if (parser_ == nullptr) parser_ = std::make_unique<simdjson::dom::parser>();
}

ParserLease::~ParserLease() {
  if (parser_->capacity() <= keptCapacity) idleParser = std::move(parser_);
}

JSONDocument::JSONDocument(Data text) : text_(std::move(text)), size_(text_.size()) {
  auto error = parseDeep();
  if (error == simdjson::NUMBER_ERROR) {
    text_ = withLongIntegersAsDoubles(Bytes(std::span(text_).first(size_)).text());
    size_ = text_.size();
    error = parseDeep();
  }
  if (error == simdjson::DEPTH_ERROR) refuse("Too many nested arrays or dictionaries.");
  if (error == simdjson::MEMALLOC) throw std::bad_alloc();
  if (error != simdjson::SUCCESS) refuse();
}

simdjson::error_code JSONDocument::parseDeep() {
  const auto error = parse(maximumDepth);
  const auto text = Bytes(std::span(text_).first(size_)).text();
  if (error != simdjson::DEPTH_ERROR || nesting(text) > maximumDepth) return error;
  return parse(maximumDepth + 1);
}

simdjson::error_code JSONDocument::parse(std::size_t depth) {
  text_.resize(size_ + JSONDecoder::spareCapacity);
  std::string_view body = Bytes(std::span(text_).first(size_)).text();
  if (body.starts_with(byteOrderMark)) body.remove_prefix(byteOrderMark.size());
  if (body.empty()) return simdjson::EMPTY;
  if (parser_->capacity() < body.size() || parser_->max_depth() != depth) {
    if (const auto error = parser_->allocate(std::bit_ceil(body.size()), depth)) return error;
  }
  simdjson::dom::element root;
  const auto error = parser_->parse(body.data(), body.size(), false).get(root);
  if (error == simdjson::SUCCESS) root_ = nodeOf(root);
  return error;
}

void JSONDocument::refuseUnderflow() {
  if (std::exchange(checkedUnderflow_, true)) return;
  const auto check = [](std::string_view number) {
    if (isUnderflow(number)) refuse();
  };
  forEachNumber(Bytes(std::span(text_).first(size_)).text(), check, [](std::string_view) {});
}

}  // namespace tarvex
