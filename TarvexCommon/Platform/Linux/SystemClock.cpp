#include <chrono>

#include "TarvexCommon/Platform/Clock.h"

namespace tarvex {

Clock systemClock() {
  return [] {
    const std::chrono::duration<double> sinceEpoch =
        std::chrono::system_clock::now().time_since_epoch();
    return Date::fromTimeIntervalSince1970(sinceEpoch.count());
  };
}

}  // namespace tarvex
