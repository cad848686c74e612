#include "TarvexCommon/Base/Wiped.h"

#include <cstring>

namespace tarvex {

void overwrite(void* memory, std::size_t size) noexcept {
  if (size > 0) explicit_bzero(memory, size);
}

void wipe(Data& secret) noexcept {
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.Move): a vector that was moved away is empty
  overwrite(secret.data(), secret.size());
  secret.clear();
}

// A short text that was moved away has left its characters behind.
void wipe(std::string& secret) noexcept {
  secret.resize(secret.capacity());
  overwrite(secret.data(), secret.size());
  secret.clear();
}

}  // namespace tarvex
