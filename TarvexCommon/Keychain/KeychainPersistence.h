// Storing, reading and removing one well-known secret of one user, and turning the
// stored ones into synchronised items.
//
//   using namespace tarvex;
//   using namespace tarvex::KeychainPersistence;
//   saveToKeychain({.value = token, .user = "alice"}, KeychainItem::accessTokenAPI);
//   const std::string token = getFromKeychain("alice", KeychainItem::accessTokenAPI);
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/Keychain/KeychainError.h"
#include "TarvexCommon/Keychain/KeychainItem.h"

namespace tarvex::KeychainPersistence {

// What a KeychainItemProtocol type says of its item.
struct ItemDescription {
  template <KeychainItemProtocol Item>
  ItemDescription(const Item& item)
      : serviceName(item.serviceName()),
        accessGroup(item.accessGroup()),
        rawLabel(item.rawLabel()),
        isSynced(item.isSynced()) {}

  std::string serviceName;
  std::string accessGroup;
  std::string rawLabel;
  std::optional<bool> isSynced;
};

struct SecretBytes {
  Required<Bytes> blob;  // UTF-8
  Required<std::string_view> user;
};
struct SecretText {
  Required<std::string_view> value;
  Required<std::string_view> user;
};

// Returns the same secret as text. Throws `dataConversionError` when it is not UTF-8.
TARVEX_EXPORT SecretText decoded(const SecretBytes& secret);

// Saves the secret, with the accessibility `kSecAttrAccessibleAfterFirstUnlock` when
// it is new. Throws `itemNotSavedError` for whatever fails.
TARVEX_EXPORT void saveToKeychain(const SecretText& secret, const ItemDescription& item);

// The same for bytes. Throws `dataConversionError` first when they are not UTF-8.
template <KeychainItemProtocol Item>
void saveToKeychain(const SecretBytes& secret, const Item& item) {
  saveToKeychain(decoded(secret), item);
}

// Returns the secret. Throws `itemNotFoundError` for whatever fails.
TARVEX_EXPORT std::string getFromKeychain(std::string_view user, const ItemDescription& item);

// Removes the secret. Throws `itemNotFoundError` for whatever fails.
TARVEX_EXPORT void removeFromKeychain(std::string_view user, const ItemDescription& item);

// Makes every stored secret of the item's service with the item's label in its
// account a synchronised one, whoever its user is: in place, or, where its
// synchronised twin is there, by removing the one that is not. Never writes a value.
//
// Returns whether all of them are done; what could not be done is logged and left as
// it was. A service without items is done. An account that stands in several access
// groups may be reported although it is done. Stops the process when there is something
// to log and the host's bundle has no identifier.
TARVEX_EXPORT bool forceSyncMigration(const ItemDescription& item);

}  // namespace tarvex::KeychainPersistence
