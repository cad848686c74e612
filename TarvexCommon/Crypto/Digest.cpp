#include "TarvexCommon/Crypto/Digest.h"

#include <limits>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Platform/Digest.h"

namespace tarvex::Crypto {

std::ptrdiff_t digestSize(Hash hash) {
  switch (hash) {
    case Hash::sha256: return 32;
  }
  fatalError("Unknown hash algorithm");
}

HashEngine engine(Hash hash) {
  switch (hash) {
    case Hash::sha256: return CC_SHA256;
  }
  fatalError("Unknown hash algorithm");
}

Data Digest::compute(Bytes data) const {
  if (data.size() > std::numeric_limits<std::uint32_t>::max()) {
    fatalError("The data is too long for a digest: 4 GiB or more");
  }
  Data digest(static_cast<std::size_t>(digestSize(hash_)));
  engine(hash_)(data.data(), static_cast<std::uint32_t>(data.size()), digest.data());
  return digest;
}

std::string hashStr(Bytes data, Hash hash) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : Digest(hash).compute(data)) {
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

}  // namespace tarvex::Crypto
