// A program with libcrypto alone. With an argument it uses its first cipher, and says how many
// nanoseconds that took.
#include <openssl/evp.h>

#include <array>
#include <chrono>
#include <cstdio>

#include "benchmarks/Start/status.h"

namespace {

bool useCipher() {
  const std::array<unsigned char, 32> key{};
  const std::array<unsigned char, 12> nonce{};
  EVP_CIPHER_CTX* const cipher = EVP_CIPHER_CTX_new();
  const bool isDone =
      EVP_EncryptInit_ex(cipher, EVP_aes_256_gcm(), nullptr, key.data(), nonce.data()) == 1;
  EVP_CIPHER_CTX_free(cipher);
  return isDone;
}

}  // namespace

int main(int argc, char**) {
  if (argc == 1) return printStatus();
  const auto start = std::chrono::steady_clock::now();
  if (!useCipher()) return 1;
  const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
  std::printf("%.0f", time.count());
}
