// Message digests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"

namespace tarvex::Crypto {

// The hash algorithms.
enum class Hash { sha256 };

// Digests `length` bytes at `input`, null when there are none, into `output`, and
// returns `output`.
using HashEngine = std::uint8_t* (*)(const void* input, std::uint32_t length, std::uint8_t* output);

// Returns the size of a digest in bytes: 32 for SHA-256.
TARVEX_EXPORT std::ptrdiff_t digestSize(Hash hash);

// Returns the code of the algorithm, which writes `digestSize(hash)` bytes.
TARVEX_EXPORT HashEngine engine(Hash hash);

// Runs a hash algorithm over bytes.
class TARVEX_EXPORT Digest {
 public:
  explicit constexpr Digest(Hash hash) noexcept : hash_(hash) {}

  constexpr Hash hash() const noexcept { return hash_; }

  // Returns the digest of `data`, `digestSize(hash())` bytes (SHA-256: FIPS 180-4).
  // Stops the process for 4 GiB of data or more.
  Data compute(Bytes data) const;

 private:
  Hash hash_;
};

// Returns the digest of `data` in lower-case hexadecimal, 64 characters for
// SHA-256. May come to throw, but does not now. Stops the process for 4 GiB of
// data or more.
TARVEX_EXPORT std::string hashStr(Bytes data, Hash hash);

}  // namespace tarvex::Crypto
