// What the host application says about itself.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// The host gives its bundle at start-up, see `installServices`. A field that is
// needed and missing stops the process when it is first needed, not earlier.
struct Bundle {
  // For example "com.example.notes"; the log's subsystem.
  std::optional<std::string> identifier = std::nullopt;

  // At least "TeamIDPrefix", the prefix that the applications of one signing team
  // share, for example "ABCDE12345.".
  std::map<std::string, std::string> infoDictionary = {};

  // The access groups that the process may use, its own first; when absent, the
  // application's own group and the two shared ones of its team prefix.
  std::optional<std::vector<std::string>> keychainAccessGroups = std::nullopt;
};

// Returns the access groups of the process. Where the bundle has neither groups nor a
// prefix, there is one group, the empty one.
TARVEX_EXPORT std::vector<std::string> keychainAccessGroups();

}  // namespace tarvex
