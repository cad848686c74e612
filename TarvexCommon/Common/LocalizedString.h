// The look-up through which every text for users is made. Internal.
#pragma once

#include <string>
#include <string_view>

namespace tarvex {

// Returns the translation of `key` from the library's own string table, anew on
// each call, or `defaultValue` where the table has none.
std::string localizedLibraryString(const std::string& key, const std::string& defaultValue,
                                   const std::string& comment);

// Returns `format` with `argument` in place of "%@" (or "%1$@") and "%" in place
// of "%%". The argument is taken as it is, never as a format.
std::string filled(std::string_view format, std::string_view argument);

}  // namespace tarvex
