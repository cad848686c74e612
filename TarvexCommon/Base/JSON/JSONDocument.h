// A parsed JSON text. Internal to the coder, the one header that names the parser.
#pragma once

#include <simdjson.h>

#include <bit>
#include <memory>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/JSON/JSONNode.h"

namespace tarvex::coding {

// Containers within containers that a document may have.
inline constexpr std::size_t maximumDepth = 512;

// A parser, the document that it has parsed, and the text with room for its padding.
struct ParserWork {
  simdjson::dom::parser parser;
  Data text;
};

// Making a parser costs more than reading a token, so each thread keeps one for its next text
// unless that was a long one.
class ParserLease {
 public:
  ParserLease();
  ~ParserLease();
  ParserLease(const ParserLease&) = delete;
  ParserLease& operator=(const ParserLease&) = delete;

  ParserWork* operator->() const noexcept { return work_.get(); }

 private:
  std::unique_ptr<ParserWork> work_;
};

class JSONDocument {
 public:
  // Parses a copy of `text`, or `text` in its own memory where that has room for the padding.
  // Throws `DecodingError::dataCorrupted` for anything but one JSON value, and for a
  // number that a double cannot hold.
  explicit JSONDocument(Bytes text);
  explicit JSONDocument(Data&& text);

  JSONNode root() const noexcept { return root_; }

 private:
  void parse();
  simdjson::error_code parseDeep();
  simdjson::error_code parse(std::size_t depth);
  std::string_view text() const { return Bytes(std::span(work_->text).first(size_)).text(); }

  ParserLease work_;
  std::size_t size_;  // of the text without padding
  JSONNode root_{};
};

static_assert(sizeof(simdjson::dom::element) == sizeof(JSONNode));

inline JSONNode nodeOf(simdjson::dom::element element) noexcept {
  return std::bit_cast<JSONNode>(element);
}
inline simdjson::dom::element elementOf(JSONNode node) noexcept {
  return std::bit_cast<simdjson::dom::element>(node);
}

}  // namespace tarvex::coding
