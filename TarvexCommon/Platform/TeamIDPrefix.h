// The prefix that the applications of one signing team share. Internal.
#pragma once

#include <string>

#include "TarvexCommon/Base/FatalError.h"

namespace tarvex {

// Returns the "TeamIDPrefix" of the bundle in use. Stops the process, naming `where`,
// when its information dictionary has none.
std::string teamIDPrefix(SourcePosition where = SourcePosition::current());

}  // namespace tarvex
