#include "TarvexCommon/Platform/Bundle.h"

#include "TarvexCommon/Platform/Services.h"

namespace tarvex {
namespace {

constexpr const char* teamIDPrefixKey = "TeamIDPrefix";

bool hasTeamIDPrefix(const Bundle& bundle) {
  return bundle.infoDictionary && bundle.infoDictionary->contains(teamIDPrefixKey);
}

}  // namespace

std::string teamIDPrefix(SourcePosition where) {
  const auto& information = unwrap(services().bundle.infoDictionary, where);
  const auto entry = information.find(teamIDPrefixKey);
  return unwrap(entry == information.end() ? std::nullopt : std::optional(entry->second), where);
}

std::vector<std::string> keychainAccessGroups() {
  const Bundle& bundle = services().bundle;
  if (bundle.keychainAccessGroups) return *bundle.keychainAccessGroups;
  if (!bundle.identifier || !hasTeamIDPrefix(bundle)) return {""};
  const std::string prefix = teamIDPrefix();
  return {prefix + *bundle.identifier, prefix + "com.tarvex.cloud", prefix + "com.tarvex.devices"};
}

}  // namespace tarvex
