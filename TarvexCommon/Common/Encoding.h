// Base64url text (RFC 4648 section 5, without padding) to standard base64 text
// (section 4) and back. Both only rewrite text and never fail; what is not base64
// is left to the decoder that follows.
#pragma once

#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex::Encoding {

// Puts "+" for "-" and "/" for "_", then appends "=" up to a multiple of four
// user-perceived characters: "YQ" gives "YQ==", and "A", which no bytes give,
// "A===".
TARVEX_EXPORT std::string b64urlToBase64(std::string_view from);

// Puts "-" for "+" and "_" for "/" and removes every "=", wherever it stands.
TARVEX_EXPORT std::string base64ToB64url(std::string_view from);

}  // namespace tarvex::Encoding
