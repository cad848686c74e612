// Keys by their label, or from a file.
#pragma once

#include <string>

#include "TarvexCommon/Crypto/ECDSA.h"

namespace tool {

// Returns the pair that the open keychain has under the label. Throws `NotFound`, `Failure`.
tarvex::Crypto::ECDSA keyPair(const std::string& label);

// Returns the key of a PEM or JWK file, which only verifies. Throws `BadInput`.
tarvex::Crypto::ECDSA publicKeyOfFile(const std::string& path);

}  // namespace tool
