// The current time, as a service so that tests can hold it still.
#pragma once

#include <functional>

#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"

namespace tarvex {

using Clock = std::function<Date()>;

// The system's real-time clock.
TARVEX_EXPORT Clock systemClock();

// Returns the time by the clock in use.
TARVEX_EXPORT Date now();

}  // namespace tarvex
