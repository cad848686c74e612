#include <libintl.h>

#include "TarvexCommon/Platform/StringTable.h"

namespace tarvex {
namespace {

constexpr const char* domain = "com.tarvex.TarvexCommon";

// Joins an entry's context and its msgid in a catalogue.
constexpr char contextSeparator = '\4';

void bindDomain(const std::string& directory) {
  bindtextdomain(domain, directory.c_str());
  bind_textdomain_codeset(domain, "UTF-8");
}

// An empty translation counts as none.
std::string translation(const std::string& key, const std::string& defaultValue) {
  const std::string id = key + contextSeparator + defaultValue;
  const char* text = dgettext(domain, id.c_str());
  return text == id.c_str() || *text == '\0' ? defaultValue : text;
}

}  // namespace

StringTable gettextStringTable(const std::string& directory) {
  return [directory](const std::string& key, const std::string& defaultValue, const std::string&) {
    bindDomain(directory);
    return translation(key, defaultValue);
  };
}

StringTable gettextStringTable() { return gettextStringTable(TARVEX_LOCALE_DIR); }

}  // namespace tarvex
