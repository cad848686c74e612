#include "TarvexCommon/Platform/Linux/Forks.h"

#include <pthread.h>

#include <atomic>

namespace tarvex {

std::uint64_t forkNumber() {
  static std::atomic<std::uint64_t> forks = 0;
  static const int registered = pthread_atfork(nullptr, nullptr, [] { ++forks; });
  (void)registered;
  return forks;
}

}  // namespace tarvex
