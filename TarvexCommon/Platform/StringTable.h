// Translations of the library's texts.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// Returns the text for `key` in the user's language, or `defaultValue` where
// there is none. `comment` is for translators. Must not throw.
using StringTable = std::function<std::string(
    const std::string& key, const std::string& defaultValue, const std::string& comment)>;

// The gettext catalogues of the domain "com.tarvex.TarvexCommon" under `directory`:
// an entry has the key as its context and the English default as its msgid. The
// language is that of the host's `setlocale`; the library never calls it.
TARVEX_EXPORT StringTable gettextStringTable(const std::string& directory);

// The catalogues that are installed with the library.
TARVEX_EXPORT StringTable gettextStringTable();

}  // namespace tarvex
