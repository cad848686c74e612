#include "TarvexCommon/Keychain/KeychainItem.h"

#include "TarvexCommon/Keychain/KeychainIdentifiers.h"

namespace tarvex {

bool KeychainItem::isDeviceSecret() const noexcept {
  return *this == password || *this == containerKey;
}

std::string KeychainItem::serviceName() const {
  return isDeviceSecret() ? TarvexKeychainServices::devices() : TarvexKeychainServices::cloud();
}

std::string KeychainItem::accessGroup() const {
  return isDeviceSecret() ? TarvexKeychainAccessGroups::devices()
                          : TarvexKeychainAccessGroups::cloud();
}

std::string KeychainItem::rawLabel() const {
  static constexpr std::array labels = {"password", "container_key", "access token",
                                        "refresh token"};
  return labels[static_cast<std::size_t>(case_)];
}

// The device secrets follow their user; the tokens belong to one machine.
std::optional<bool> KeychainItem::isSynced() const { return isDeviceSecret(); }

}  // namespace tarvex
