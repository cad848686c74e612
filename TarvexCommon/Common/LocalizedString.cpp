#include "TarvexCommon/Common/LocalizedString.h"

#include <array>
#include <utility>

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {

std::string localizedLibraryString(const std::string& key, const std::string& defaultValue,
                                   const std::string& comment) {
  return services().stringTable(key, defaultValue, comment);
}

std::string filled(std::string_view format, std::string_view argument) {
  const std::array<std::pair<std::string_view, std::string_view>, 3> directives = {
      {{"%@", argument}, {"%1$@", argument}, {"%%", "%"}}};
  std::string text;
  while (!format.empty()) {
    std::string_view piece = format.substr(0, 1);
    std::size_t taken = 1;
    for (const auto& [directive, replacement] : directives) {
      if (!format.starts_with(directive)) continue;
      piece = replacement;
      taken = directive.size();
    }
    text += piece;
    format.remove_prefix(taken);
  }
  return text;
}

}  // namespace tarvex
