// The group of the team's applications.
#pragma once

#include <string>

#include "TarvexCommon/Base/Export.h"

namespace tarvex::TarvexAppGroups {

// The identifier of the group that all applications of the team share: the host's
// "TeamIDPrefix" with "group.com.tarvex" directly behind it, for example
// "ABCDE12345.group.com.tarvex". Made on first use and kept. Stops the process
// when the host's bundle has no "TeamIDPrefix".
TARVEX_EXPORT const std::string& common();

}  // namespace tarvex::TarvexAppGroups
