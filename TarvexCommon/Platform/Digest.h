// The platform's SHA-256 (FIPS 180-4). Internal.
#pragma once

#include <array>
#include <cstdint>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// Returns the digest of `bytes`, of any length.
std::array<std::uint8_t, 32> sha256(Bytes bytes);

// Writes the digest of `length` bytes at `data`, which may be null when there are
// none, to the 32 bytes at `digest`, and returns `digest`.
std::uint8_t* CC_SHA256(const void* data, std::uint32_t length, std::uint8_t* digest);

}  // namespace tarvex
