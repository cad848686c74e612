// A parsed JSON text. Internal to the coder, the one header that names the parser.
#pragma once

#include <simdjson.h>

#include <bit>
#include <cstddef>
#include <string_view>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/JSON/JSONNode.h"

namespace tarvex::coding {

// Containers within containers that a document may have.
inline constexpr std::size_t maximumDepth = 512;

// A text, its parser and what that makes of it. To make one takes longer than to read a token with
// it, so that each thread keeps one for its next text.
class JSONDocument {
 public:
  // Reads a copy of `text`, or `text` in its own memory where that has room for the padding.
  // Throws `DecodingError::dataCorrupted` for anything but one JSON value, and for a
  // number that a double cannot hold.
  void read(Bytes text);
  void read(Data&& text);

  JSONNode root() const noexcept { return root_; }

  // How long a text may be without new memory.
  std::size_t capacity() const noexcept;

  // Overwrites what was read.
  void wipe() noexcept;

 private:
  void parse();
  simdjson::error_code parseDeep();
  simdjson::error_code parse(std::size_t depth);
  std::string_view text() const { return Bytes(std::span(text_).first(size_)).text(); }

  simdjson::dom::parser parser_;
  Data text_;             // with room for the parser's padding
  std::size_t size_ = 0;  // of the text without it
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
