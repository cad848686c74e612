// A clock that stands still.
#pragma once

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/Clock.h"

namespace tarvex {

// Returns a clock that always shows `time`.
TARVEX_EXPORT Clock fixedClock(Date time);

}  // namespace tarvex
