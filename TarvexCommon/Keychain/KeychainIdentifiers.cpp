#include "TarvexCommon/Keychain/KeychainIdentifiers.h"

#include "TarvexCommon/Platform/Bundle.h"

namespace tarvex {

const std::string& TarvexKeychainServices::cloud() {
  static const auto& name = *new std::string("com.tarvex.cloud");
  return name;
}

const std::string& TarvexKeychainServices::devices() {
  static const auto& name = *new std::string("com.tarvex.devices");
  return name;
}

const std::string& TarvexKeychainAccessGroups::cloud() {
  static const auto& name = *new std::string(teamIDPrefix() + TarvexKeychainServices::cloud());
  return name;
}

const std::string& TarvexKeychainAccessGroups::devices() {
  static const auto& name = *new std::string(teamIDPrefix() + TarvexKeychainServices::devices());
  return name;
}

}  // namespace tarvex
