// Texts in quotes. Internal to the coder.
#pragma once

#include <string_view>

#include "TarvexCommon/Base/JSON/Output.h"

namespace tarvex::coding {

// Adds a text in quotes and what follows it; returns false, and adds nothing, where the text is
// not UTF-8.
bool addQuoted(Output& json, std::string_view text, char suffix);

}  // namespace tarvex::coding
