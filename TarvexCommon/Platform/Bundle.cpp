#include "TarvexCommon/Platform/Bundle.h"

#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/TeamIDPrefix.h"

namespace tarvex {
namespace {

std::optional<std::string> knownTeamIDPrefix() {
  const auto& information = services().bundle.infoDictionary;
  const auto entry = information.find("TeamIDPrefix");
  return entry == information.end() ? std::nullopt : std::optional(entry->second);
}

}  // namespace

std::string teamIDPrefix(SourcePosition where) { return unwrap(knownTeamIDPrefix(), where); }

std::vector<std::string> keychainAccessGroups() {
  const Bundle& bundle = services().bundle;
  if (bundle.keychainAccessGroups) return *bundle.keychainAccessGroups;
  const auto prefix = knownTeamIDPrefix();
  if (!prefix) return {""};
  std::vector<std::string> groups = {*prefix + "com.tarvex.cloud", *prefix + "com.tarvex.devices"};
  if (bundle.identifier) groups.insert(groups.begin(), *prefix + *bundle.identifier);
  return groups;
}

}  // namespace tarvex
