// The texts of the item service's statuses. Internal.
#pragma once

#include <optional>
#include <string>

#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// Returns one English sentence that says what is wrong and what to do; nothing for
// a status that `ItemService.h` does not list.
std::optional<std::string> statusText(OSStatus status);

}  // namespace tarvex
