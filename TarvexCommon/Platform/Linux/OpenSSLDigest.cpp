#include <openssl/sha.h>

#include "TarvexCommon/Platform/Digest.h"

namespace tarvex {
namespace {

void digestInto(const void* data, std::size_t length, std::uint8_t* digest) {
  SHA256_CTX context;
  SHA256_Init(&context);
  SHA256_Update(&context, data, length);
  SHA256_Final(digest, &context);
}

}  // namespace

std::array<std::uint8_t, 32> sha256(Bytes bytes) {
  std::array<std::uint8_t, 32> digest;
  digestInto(bytes.data(), bytes.size(), digest.data());
  return digest;
}

std::uint8_t* CC_SHA256(const void* data, std::uint32_t length, std::uint8_t* digest) {
  digestInto(data, length, digest);
  return digest;
}

}  // namespace tarvex
