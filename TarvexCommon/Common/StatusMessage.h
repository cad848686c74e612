// The text of a status of the item service. Internal.
#pragma once

#include <string>

#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// Returns the item service's text for `status`, or, where it has none, that of an
// unknown error in the user's language.
std::string statusMessage(OSStatus status);

}  // namespace tarvex
