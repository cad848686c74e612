#include "TarvexCommon/Keychain/KeychainPersistence.h"

#include <algorithm>
#include <vector>

#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Common/DefaultLog.h"
#include "TarvexCommon/Keychain/Keychain.h"

namespace tarvex::KeychainPersistence {
namespace {

Keychain keychainOf(const ItemDescription& item) {
  return Keychain({.service = item.serviceName, .access = item.accessGroup});
}

Keychain::ItemName nameOf(std::string_view user, const ItemDescription& item) {
  return {.secretID = user, .label = item.rawLabel, .synced = item.isSynced};
}

void report(const std::string& account, const std::string& what) {
  defaultLog().log("forceSyncMigration " + account + what);
}

bool isSynchronised(const ItemDictionary& attributes) {
  const bool* synchronised = find<bool>(attributes, kSecAttrSynchronizable);
  return synchronised != nullptr && *synchronised;
}

// Empty pieces are dropped.
std::vector<std::string_view> pieces(std::string_view account) {
  std::vector<std::string_view> result;
  while (!account.empty()) {
    const std::size_t length = std::min(account.find(':'), account.size());
    if (length > 0) result.push_back(account.substr(0, length));
    account.remove_prefix(std::min(length + 1, account.size()));
  }
  return result;
}

// Returns whether `operation` ended without a keychain error.
template <typename Operation>
bool succeeds(Operation operation) {
  try {
    operation();
    return true;
  } catch (const KeychainError&) {
    return false;
  }
}

// Removes the unsynchronised item of which the synchronised twin is there.
bool removeTwin(const Keychain& keychain, const std::string& account) {
  const auto parts = pieces(account);
  if (parts.size() != 2) {
    report(account, " failed: split count " + std::to_string(parts.size()));
    return false;
  }
  const auto name = [&](std::optional<bool> synced) {
    return Keychain::ItemName{.secretID = parts[0], .label = parts[1], .synced = synced};
  };
  if (!succeeds([&] { (void)keychain.getItem(name(true)); })) {
    report(account, ": did not find synced item");
    return false;
  }
  if (!succeeds([&] { keychain.removeItem(name(std::nullopt)); })) {
    report(account, " failed: could not remove unsynced item");
    return false;
  }
  return true;
}

bool migrate(const Keychain& keychain, const std::string& account) {
  const ItemDictionary synchronised = {{kSecAttrSynchronizable, true}};
  return succeeds([&] { keychain.update(account, synchronised); }) || removeTwin(keychain, account);
}

}  // namespace

SecretText decoded(const SecretBytes& secret) {
  const std::string_view text = secret.blob.get().text();
  if (!isUTF8(text)) throw KeychainError::dataConversionError();
  return {.value = text, .user = secret.user};
}

void saveToKeychain(const SecretText& secret, const ItemDescription& item) {
  const bool saved = succeeds([&] {
    keychainOf(item).setItem({.valueData = secret.value,
                              .user = secret.user,
                              .label = item.rawLabel,
                              .synced = item.isSynced,
                              .accessibility = kSecAttrAccessibleAfterFirstUnlock});
  });
  if (!saved) throw KeychainError::itemNotSavedError();
}

std::string getFromKeychain(std::string_view user, const ItemDescription& item) {
  try {
    return keychainOf(item).getItem(nameOf(user, item));
  } catch (const KeychainError&) {
    throw KeychainError::itemNotFoundError();
  }
}

void removeFromKeychain(std::string_view user, const ItemDescription& item) {
  if (succeeds([&] { keychainOf(item).removeItem(nameOf(user, item)); })) return;
  throw KeychainError::itemNotFoundError();
}

bool forceSyncMigration(const ItemDescription& item) {
  const Keychain keychain = keychainOf(item);
  std::vector<ItemDictionary> items;
  if (!succeeds([&] { items = keychain.getAllItems(); })) return true;
  bool done = true;
  for (const ItemDictionary& attributes : items) {
    const auto* account = find<std::string>(attributes, kSecAttrAccount);
    if (isSynchronised(attributes) || account == nullptr) continue;
    if (account->find(item.rawLabel) == std::string::npos) continue;
    if (!migrate(keychain, *account)) done = false;
  }
  return done;
}

}  // namespace tarvex::KeychainPersistence
