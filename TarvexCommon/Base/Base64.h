// Standard base64 of bytes (RFC 4648 section 4), strict in both directions.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// Returns the padded base64 text of `bytes`, without line breaks: "YQ==".
TARVEX_EXPORT std::string toBase64(Bytes bytes);

// Returns the bytes of a padded base64 text, or nothing when there is a
// character outside the alphabet (white space, "-" and "_" too), a wrong length
// or wrong padding. The empty text is no bytes; unused low bits are not looked
// at ("YR==" is "a").
TARVEX_EXPORT std::optional<Data> fromBase64(std::string_view text);

}  // namespace tarvex
