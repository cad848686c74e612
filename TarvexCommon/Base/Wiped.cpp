#include "TarvexCommon/Base/Wiped.h"

#include <cstring>

namespace tarvex {

void wipe(Data& secret) noexcept {
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move): a vector that was moved away is empty
  explicit_bzero(secret.data(), secret.size());
  secret.clear();
}

// A short text that was moved away has left its characters behind.
void wipe(std::string& secret) noexcept {
  secret.resize(secret.capacity());
  explicit_bzero(secret.data(), secret.size());
  secret.clear();
}

}  // namespace tarvex
