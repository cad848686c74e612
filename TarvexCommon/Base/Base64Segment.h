// Token segments: base64url text (RFC 4648 section 5) to bytes and back in one
// pass. Internal.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// Appends the base64url text of `bytes`, without padding, or returns it.
void appendBase64Segment(std::string& text, Bytes bytes);
std::string toBase64Segment(Bytes bytes);

// Returns what `fromBase64(Encoding::b64urlToBase64(text))` returns: both
// alphabets decode, padding that happens to be right is accepted. The result has
// room for `spare` more bytes without moving.
std::optional<Data> fromBase64Segment(std::string_view text, std::size_t spare = 0);

}  // namespace tarvex
