#include "TarvexCommon/Keychain/KeychainIdentifiers.h"

#include "TarvexCommon/Platform/TeamIDPrefix.h"

namespace tarvex {
namespace {

// Where a stop says that it happened: it tells the two groups apart in every version.
constexpr SourcePosition cloudGroup{"TarvexCommon/Keychain", 24};
constexpr SourcePosition devicesGroup{"TarvexCommon/Keychain", 25};

}  // namespace

const std::string& TarvexKeychainServices::cloud() {
  static const auto& name = *new std::string("com.tarvex.cloud");
  return name;
}

const std::string& TarvexKeychainServices::devices() {
  static const auto& name = *new std::string("com.tarvex.devices");
  return name;
}

const std::string& TarvexKeychainAccessGroups::cloud() {
  static const auto& name =
      *new std::string(teamIDPrefix(cloudGroup) + TarvexKeychainServices::cloud());
  return name;
}

const std::string& TarvexKeychainAccessGroups::devices() {
  static const auto& name =
      *new std::string(teamIDPrefix(devicesGroup) + TarvexKeychainServices::devices());
  return name;
}

}  // namespace tarvex
