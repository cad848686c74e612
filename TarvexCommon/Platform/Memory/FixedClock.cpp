#include "TarvexCommon/Platform/Memory/FixedClock.h"

namespace tarvex {

Clock fixedClock(Date time) {
  return [time] { return time; };
}

}  // namespace tarvex
