// Keys by their label, or from a file.
#pragma once

#include <string>

#include "TarvexCommon/Crypto/ECDSA.h"
#include "Tool.h"

namespace tool {

// Opens the keychain and returns the pair that is stored under the label. Throws `NotFound`,
// `Failure`.
tarvex::Crypto::ECDSA keyPair(const Tool& tool, const std::string& label);

// Returns the key of a PEM or JWK file, which only verifies. Throws `BadInput`.
tarvex::Crypto::ECDSA publicKeyOfFile(const std::string& path);

}  // namespace tool
