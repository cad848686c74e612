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

// A parser, and the document that it has parsed. Making one costs more than reading
// a token, so each thread keeps one for its next text unless that was a long one.
class ParserLease {
 public:
  ParserLease();
  ~ParserLease();
  ParserLease(const ParserLease&) = delete;
  ParserLease& operator=(const ParserLease&) = delete;

  simdjson::dom::parser* operator->() const noexcept { return parser_.get(); }

 private:
  std::unique_ptr<simdjson::dom::parser> parser_;
};

class JSONDocument {
 public:
  // Parses `text` in its own memory where it has room for the parser's padding.
  // Throws `DecodingError::dataCorrupted` for anything but one JSON value, and for a
  // number that a double cannot hold.
  explicit JSONDocument(Data text);

  JSONNode root() const noexcept { return root_; }

 private:
  simdjson::error_code parseDeep();
  simdjson::error_code parse(std::size_t depth);

  Data text_;
  std::size_t size_;  // without padding
  ParserLease parser_;
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
