// The DER form of a P-256 signature, with r and s written in full. Internal.
#pragma once

#include <cstddef>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// Bytes of r, and of s.
inline constexpr std::size_t signatureComponentSize = 32;

// Returns SEQUENCE { INTEGER r, INTEGER s } for two components of 32 bytes, 70 to
// 72 bytes. Zero bytes in front are kept, so that the result is not always the
// minimal form.
Data signatureDER(Bytes r, Bytes s);

}  // namespace tarvex
