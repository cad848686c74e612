// Questions about Unicode text in UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// Returns whether every byte of `text` is below 0x80.
TARVEX_EXPORT bool isASCII(std::string_view text) noexcept;

// Returns whether `text` is well-formed UTF-8 (RFC 3629): no overlong form, no
// surrogate, nothing above U+10FFFF. U+0000 is an ordinary character.
TARVEX_EXPORT bool isUTF8(std::string_view text) noexcept;

// Returns the number of user-perceived characters (extended grapheme clusters,
// Unicode UAX #29): "e\u0301" is one, so is CR LF. A byte that is not part of
// well-formed UTF-8 counts as one.
TARVEX_EXPORT std::size_t graphemeCount(std::string_view text);

// Returns the canonical decomposition (NFD, Unicode UAX #15) of `text`, the same for
// all texts that are canonically equivalent. A text that is not well-formed UTF-8 is
// returned as it is.
TARVEX_EXPORT std::string canonicalForm(std::string_view text);

// Returns whether the texts are canonically equivalent: U+212B equals U+00C5.
TARVEX_EXPORT bool canonicallyEqual(std::string_view first, std::string_view second);

}  // namespace tarvex
