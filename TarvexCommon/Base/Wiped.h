// Secrets that do not stay in memory. Internal.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// Overwrites so many bytes, also where the compiler sees that nobody reads them again.
void overwrite(void* memory, std::size_t size) noexcept;

// Overwrites a secret that nobody needs any more.
void wipe(Data& secret) noexcept;
void wipe(std::string& secret) noexcept;

// A secret, bytes or text, that is wiped when it goes.
template <typename Secret>
class Wiped {
 public:
  Wiped() noexcept = default;
  explicit Wiped(Secret secret) noexcept : secret_(std::move(secret)) { wipe(secret); }
  Wiped(const Wiped&) = default;
  Wiped(Wiped&&) noexcept = default;
  Wiped& operator=(Wiped other) noexcept {
    std::swap(secret_, other.secret_);
    return *this;
  }
  ~Wiped() { wipe(secret_); }

  const Secret& operator*() const noexcept { return secret_; }
  const Secret* operator->() const noexcept { return &secret_; }

  // Leaves an empty one.
  Secret take() noexcept { return std::exchange(secret_, Secret()); }

 private:
  Secret secret_;
};

}  // namespace tarvex
