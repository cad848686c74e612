#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pemerr.h>

#include <limits>
#include <memory>
#include <new>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/Linux/OpenSSLOwner.h"
#include "TarvexCommon/Platform/PEM.h"

namespace tarvex {
namespace {

using Stream = OpenSSLOwner<BIO, BIO_free>;

struct SecureFree {
  void operator()(char* text) const noexcept { OPENSSL_secure_free(text); }
};
using SecureText = std::unique_ptr<char, SecureFree>;

// Returns the next block, or nothing at the end and where one is damaged. This function of
// OpenSSL decrypts nothing, so that it asks nobody for a passphrase.
std::optional<PEMBlock> nextBlock(BIO* stream) {
  char* label = nullptr;
  char* headers = nullptr;
  unsigned char* bytes = nullptr;
  long size = 0;
  if (PEM_read_bio_ex(stream, &label, &headers, &bytes, &size, PEM_FLAG_SECURE) != 1) {
    return std::nullopt;
  }
  const auto wipeAndFree = [size](unsigned char* secret) {
    OPENSSL_secure_clear_free(secret, static_cast<std::size_t>(size));
  };
  const std::unique_ptr<unsigned char, decltype(wipeAndFree)> ownedBytes(bytes, wipeAndFree);
  const SecureText ownedLabel(label);
  const SecureText ownedHeaders(headers);
  return PEMBlock{label, std::string_view(headers).find("ENCRYPTED") != std::string_view::npos,
                  Wiped(Data(bytes, bytes + size))};
}

bool hasReachedEnd() { return ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE; }

}  // namespace

std::optional<std::vector<PEMBlock>> readPEM(Bytes text) {
  std::vector<PEMBlock> blocks;
  if (text.empty() || text.size() > std::numeric_limits<int>::max()) return blocks;
  const OpenSSLErrorMark mark;
  const Stream stream(allocated(BIO_new_mem_buf(text.data(), static_cast<int>(text.size()))));
  while (auto block = nextBlock(stream.get())) blocks.push_back(std::move(*block));
  if (!hasReachedEnd()) return std::nullopt;
  return blocks;
}

std::string writePEM(const char* label, Bytes bytes) {
  const Stream stream(allocated(BIO_new(BIO_s_mem())));
  const auto size = static_cast<long>(bytes.size());
  completed(PEM_write_bio(stream.get(), label, "", bytes.data(), size) != 0);
  char* text = nullptr;
  const long length = BIO_get_mem_data(stream.get(), &text);
  return {text, static_cast<std::size_t>(length)};
}

}  // namespace tarvex
