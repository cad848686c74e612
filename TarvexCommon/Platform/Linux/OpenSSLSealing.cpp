#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <sys/mman.h>
#include <sys/random.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <string>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/Linux/OpenSSLOwner.h"
#include "TarvexCommon/Platform/Sealing.h"

namespace tarvex {
namespace {

using Cipher = OpenSSLOwner<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Mac = OpenSSLOwner<EVP_MAC, EVP_MAC_free>;
using MacContext = OpenSSLOwner<EVP_MAC_CTX, EVP_MAC_CTX_free>;
using Kdf = OpenSSLOwner<EVP_KDF, EVP_KDF_free>;
using KdfContext = OpenSSLOwner<EVP_KDF_CTX, EVP_KDF_CTX_free>;

// The kernel's randomness: no child process can repeat its parent's, and it needs no library, which
// may already have shut down at exit.
void fillRandomly(std::span<std::uint8_t> bytes) {
  completed(getrandom(bytes.data(), bytes.size(), 0) == std::ssize(bytes));
}

int sizeOf(Bytes bytes) { return static_cast<int>(bytes.size()); }

OSSL_PARAM bytesParameter(const char* name, Bytes bytes) {
  return OSSL_PARAM_construct_octet_string(name, const_cast<std::uint8_t*>(bytes.data()),
                                           bytes.size());
}

OSSL_PARAM digestParameter(const char* name) {
  return OSSL_PARAM_construct_utf8_string(name, const_cast<char*>("SHA256"), 0);
}

Cipher cipher(const SealingKey& key, int encrypts) {
  Cipher context(EVP_CIPHER_CTX_new());
  completed(context && EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr,
                                         key.bytes().data(), nullptr, encrypts) == 1);
  return context;
}

// Begins with a nonce and a context, which come before any text.
bool begin(EVP_CIPHER_CTX* cipher, Bytes nonce, Bytes context) {
  int length = 0;
  return EVP_CipherInit_ex(cipher, nullptr, nullptr, nullptr, nonce.data(), -1) == 1 &&
         EVP_CipherUpdate(cipher, nullptr, &length, context.data(), sizeOf(context)) == 1;
}

bool update(EVP_CIPHER_CTX* cipher, Bytes from, std::uint8_t* to) {
  int length = 0;
  return EVP_CipherUpdate(cipher, to, &length, from.data(), sizeOf(from)) == 1;
}

}  // namespace

Data randomBytes(std::size_t count) {
  Data bytes(count);
  fillRandomly(bytes);
  return bytes;
}

void SealingKey::Release::operator()(std::uint8_t* bytes) const noexcept {
  OPENSSL_cleanse(bytes, size);
  munmap(bytes, size);
}

// Where no more memory may be locked the key is at least in no core dump.
SealingKey::SealingKey() {
  void* page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  completed(page != MAP_FAILED);
  bytes_.reset(static_cast<std::uint8_t*>(page));
  lockPage();
  (void)madvise(page, size, MADV_DONTDUMP);
}

void SealingKey::lockPage() const noexcept { (void)mlock(bytes_.get(), size); }

SealingKey::SealingKey(Bytes bytes) : SealingKey() {
  std::copy_n(bytes.begin(), size, bytes_.get());
}

SealingKey SealingKey::random() {
  SealingKey key;
  fillRandomly({key.bytes_.get(), size});
  return key;
}

SealingKey SealingKey::stretched(std::string_view passphrase, Bytes salt, std::uint64_t cost) {
  constexpr std::uint64_t r = 8;
  constexpr std::uint64_t p = 1;
  SealingKey key;
  const std::uint64_t memory = 128 * r * (cost + p + 2);
  completed(EVP_PBE_scrypt(passphrase.data(), passphrase.size(), salt.data(), salt.size(), cost, r,
                           p, memory, key.bytes_.get(), size) == 1);
  return key;
}

SealingKey SealingKey::derived(std::string_view purpose) const {
  const Kdf hkdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
  const KdfContext context(EVP_KDF_CTX_new(hkdf.get()));
  const OSSL_PARAM parameters[] = {
      digestParameter(OSSL_KDF_PARAM_DIGEST), bytesParameter(OSSL_KDF_PARAM_KEY, bytes()),
      bytesParameter(OSSL_KDF_PARAM_INFO, purpose), OSSL_PARAM_construct_end()};
  SealingKey key;
  completed(context && EVP_KDF_derive(context.get(), key.bytes_.get(), size, parameters) == 1);
  return key;
}

struct Sealer::Ciphers {
  Cipher sealing;
  Cipher opening;
};

Sealer::Sealer(const SealingKey& key)
    : ciphers_(new Ciphers{.sealing = cipher(key, 1), .opening = cipher(key, 0)}) {}
Sealer::~Sealer() = default;
Sealer::Sealer(Sealer&&) noexcept = default;

Data Sealer::seal(Bytes plain, Bytes context) const {
  EVP_CIPHER_CTX* const gcm = ciphers_->sealing.get();
  Data sealed = randomBytes(nonceSize);
  sealed.resize(overhead + plain.size());
  std::uint8_t* const text = sealed.data() + nonceSize;
  std::uint8_t* const tag = text + plain.size();
  int length = 0;
  completed(begin(gcm, sealed, context) && update(gcm, plain, text) &&
            EVP_EncryptFinal_ex(gcm, tag, &length) == 1 &&
            EVP_CIPHER_CTX_ctrl(gcm, EVP_CTRL_AEAD_GET_TAG, tagSize, tag) == 1);
  return sealed;
}

std::optional<Data> Sealer::open(Bytes sealed, Bytes context) const {
  if (sealed.size() < overhead || sealed.size() > overhead + maximum) return std::nullopt;
  const OpenSSLErrorMark mark;
  EVP_CIPHER_CTX* const gcm = ciphers_->opening.get();
  const Bytes text = sealed.subspan(nonceSize, sealed.size() - overhead);
  std::array<std::uint8_t, tagSize> tag;
  std::ranges::copy(sealed.last(tagSize), tag.begin());
  Data plain(text.size());
  int length = 0;
  completed(begin(gcm, sealed, context) && update(gcm, text, plain.data()) &&
            EVP_CIPHER_CTX_ctrl(gcm, EVP_CTRL_AEAD_SET_TAG, tagSize, tag.data()) == 1);
  std::uint8_t rest = 0;
  if (EVP_DecryptFinal_ex(gcm, &rest, &length) == 1) return plain;
  wipe(plain);
  return std::nullopt;
}

struct KeyedHash::State {
  MacContext mac;
};

KeyedHash::KeyedHash(const SealingKey& key) : state_(new State) {
  const Mac hmac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
  state_->mac.reset(EVP_MAC_CTX_new(hmac.get()));
  const OSSL_PARAM parameters[] = {digestParameter(OSSL_MAC_PARAM_DIGEST),
                                   OSSL_PARAM_construct_end()};
  completed(state_->mac &&
            EVP_MAC_init(state_->mac.get(), key.bytes().data(), SealingKey::size, parameters) == 1);
}
KeyedHash::~KeyedHash() = default;
KeyedHash::KeyedHash(KeyedHash&&) noexcept = default;

KeyedHash::Value KeyedHash::of(std::string_view kind, Bytes text) const {
  EVP_MAC_CTX* const mac = state_->mac.get();
  const Bytes kindBytes = kind;
  constexpr std::uint8_t separator = 0;
  std::array<std::uint8_t, 32> digest;
  std::size_t length = 0;
  completed(EVP_MAC_init(mac, nullptr, 0, nullptr) == 1 &&
            EVP_MAC_update(mac, kindBytes.data(), kindBytes.size()) == 1 &&
            EVP_MAC_update(mac, &separator, 1) == 1 &&
            EVP_MAC_update(mac, text.data(), text.size()) == 1 &&
            EVP_MAC_final(mac, digest.data(), &length, digest.size()) == 1);
  Value value;
  std::copy_n(digest.begin(), value.size(), value.begin());
  return value;
}

}  // namespace tarvex
