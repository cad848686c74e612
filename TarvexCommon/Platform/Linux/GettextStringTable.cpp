#include <dlfcn.h>
#include <libintl.h>

#include <filesystem>

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

// Returns where the catalogues lie beside this library, or where they were to
// be installed when they do not.
std::string installedCatalogues() {
  Dl_info library;
  if (dladdr(reinterpret_cast<const void*>(&bindDomain), &library) == 0) return TARVEX_LOCALE_DIR;
  const auto beside =
      std::filesystem::path(library.dli_fname).parent_path() / TARVEX_LOCALE_FROM_LIBRARY;
  std::error_code ignored;
  return std::filesystem::is_directory(beside, ignored) ? beside.lexically_normal().string()
                                                        : TARVEX_LOCALE_DIR;
}

}  // namespace

StringTable gettextStringTable(const std::string& directory) {
  return [directory](const std::string& key, const std::string& defaultValue, const std::string&) {
    // Each time, because the process has one binding and another table may have changed it.
    bindDomain(directory);
    return translation(key, defaultValue);
  };
}

StringTable gettextStringTable() { return gettextStringTable(installedCatalogues()); }

}  // namespace tarvex
