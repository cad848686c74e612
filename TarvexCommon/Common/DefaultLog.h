// The library's log. Internal.
#pragma once

#include "TarvexCommon/Platform/Log.h"

namespace tarvex {

// The log with the host's bundle identifier as subsystem and the category
// "default", made on first use and kept. Stops the process when the host's bundle
// has no identifier.
const Log& defaultLog();

}  // namespace tarvex
