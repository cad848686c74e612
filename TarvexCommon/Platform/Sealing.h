// The platform's cryptography for what is kept on a disk. Internal.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// 32 secret bytes, wiped when they go, in a page of memory of their own: it is not swapped out, as
// far as the process may lock memory, and in no core dump.
class SealingKey {
 public:
  static constexpr std::size_t size = 32;

  static SealingKey random();

  // Stretches a passphrase (scrypt, RFC 7914) with r = 8, p = 1 and N = `cost`, a power of
  // two: it takes `cost` KiB of memory, and at 2^17 a third of a second.
  static SealingKey stretched(std::string_view passphrase, Bytes salt, std::uint64_t cost);

  // Takes a copy of 32 bytes.
  explicit SealingKey(Bytes bytes);

  // Returns a key of its own for a purpose (HKDF-SHA256, RFC 5869).
  SealingKey derived(std::string_view purpose) const;

  Bytes bytes() const noexcept { return {bytes_.get(), size}; }

  // Locks its page once more: a child process has it unlocked at first. For a handler of forks too.
  void lockPage() const noexcept;

 private:
  struct Release {
    void operator()(std::uint8_t* bytes) const noexcept;
  };

  SealingKey();

  std::unique_ptr<std::uint8_t, Release> bytes_;
};

Data randomBytes(std::size_t count);

// Seals with AES-256-GCM and a random nonce. Not for several threads at once.
class Sealer {
 public:
  static constexpr std::size_t nonceSize = 12;
  static constexpr std::size_t tagSize = 16;
  static constexpr std::size_t overhead = nonceSize + tagSize;
  static constexpr std::size_t maximum = 1U << 30;  // bytes to be sealed at once

  explicit Sealer(const SealingKey& key);
  ~Sealer();
  Sealer(Sealer&&) noexcept;

  // Returns nonce, ciphertext and tag; `context` has to be the same to open it.
  Data seal(Bytes plain, Bytes context) const;

  // Returns what was sealed, or nothing: another key, another context, changed bytes.
  std::optional<Data> open(Bytes sealed, Bytes context) const;

 private:
  struct Ciphers;
  std::unique_ptr<Ciphers> ciphers_;
};

// HMAC-SHA256 (RFC 2104), cut to 16 bytes: equal for equal texts, and to those who lack the
// key it says nothing else. Not for several threads at once.
class KeyedHash {
 public:
  using Value = std::array<std::uint8_t, 16>;

  explicit KeyedHash(const SealingKey& key);
  ~KeyedHash();
  KeyedHash(KeyedHash&&) noexcept;

  // Equal texts of different kinds differ. `kind` has no NUL.
  Value of(std::string_view kind, Bytes text) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tarvex
