// How far away an expiry is, in words.
#pragma once

#include <optional>
#include <string>

#include "TarvexCommon/Base/Date.h"

namespace inspector {

// Returns "expires in 3 hours", "expired 2 days ago" or, without an expiry, "never expires".
// Times are cut, not rounded: nothing expires earlier than it says.
std::string expiryInWords(const std::optional<tarvex::Date>& expiry, tarvex::Date now);

}  // namespace inspector
