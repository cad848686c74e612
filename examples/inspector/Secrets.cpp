#include "Secrets.h"

#include <algorithm>
#include <optional>
#include <tuple>

#include "TarvexCommon/Keychain/Keychain.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace inspector {
namespace {

using tarvex::ItemDictionary;
using tarvex::ItemValue;
using tarvex::Keychain;
using tarvex::KeychainItem;

// The attributes of all items that match, without their values.
std::vector<ItemDictionary> attributesOf(ItemDictionary query) {
  query.emplace(tarvex::kSecMatchLimit, tarvex::kSecMatchLimitAll);
  query.emplace(tarvex::kSecReturnAttributes, true);
  ItemValue found;
  const tarvex::OSStatus status = SecItemCopyMatching(query, &found);
  if (status == tarvex::errSecItemNotFound) return {};
  if (status != tarvex::errSecSuccess) {
    const auto text = tarvex::SecCopyErrorMessageString(status);
    throw tarvex::KeychainError::unhandledError(text.value_or(std::to_string(status)));
  }
  std::vector<ItemDictionary> items;
  for (const ItemValue& item : *found.get<ItemValue::List>()) {
    items.push_back(*item.get<ItemDictionary>());
  }
  return items;
}

template <typename T>
T attribute(const ItemDictionary& item, const char* name) {
  const T* value = tarvex::find<T>(item, name);
  return value == nullptr ? T() : *value;
}

Secret secretOf(const ItemDictionary& item, const std::string& service) {
  const auto account = attribute<std::string>(item, tarvex::kSecAttrAccount);
  const std::size_t colon = std::min(account.rfind(':'), account.size());
  return {.service = service,
          .accessGroup = attribute<std::string>(item, tarvex::kSecAttrAccessGroup),
          .user = account.substr(0, colon),
          .label = account.substr(std::min(colon + 1, account.size())),
          .isSynced = attribute<bool>(item, tarvex::kSecAttrSynchronizable)};
}

Keychain keychainOf(const Secret& secret) {
  return Keychain({.service = secret.service, .access = secret.accessGroup});
}

Keychain::ItemName nameOf(const Secret& secret) {
  return {.secretID = secret.user, .label = secret.label, .synced = secret.isSynced};
}

}  // namespace

std::vector<std::string> services() {
  std::vector<std::string> names;
  for (const KeychainItem item : KeychainItem::allCases) {
    const std::string name = item.serviceName();
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  }
  return names;
}

std::vector<Secret> secretsOf(const std::string& service) {
  std::vector<Secret> secrets;
  for (const ItemDictionary& item :
       attributesOf({{tarvex::kSecClass, tarvex::kSecClassGenericPassword},
                     {tarvex::kSecAttrService, service},
                     {tarvex::kSecAttrSynchronizable, tarvex::kSecAttrSynchronizableAny}})) {
    secrets.push_back(secretOf(item, service));
  }
  std::ranges::sort(secrets, {}, [](const Secret& secret) {
    return std::tie(secret.user, secret.label, secret.isSynced);
  });
  return secrets;
}

std::string valueOf(const Secret& secret) { return keychainOf(secret).getItem(nameOf(secret)); }

void save(const NewSecret& secret) {
  const KeychainItem item = secret.item;
  Keychain({.service = item.serviceName(), .access = item.accessGroup()})
      .setItem({.valueData = secret.value,
                .user = secret.user,
                .label = item.rawLabel(),
                .synced = item.isSynced(),
                .accessibility = tarvex::kSecAttrAccessibleAfterFirstUnlock});
}

void remove(const Secret& secret) { keychainOf(secret).removeItem(nameOf(secret)); }

std::set<std::string> keyLabels() {
  std::set<std::string> labels;
  for (const ItemDictionary& key :
       attributesOf({{tarvex::kSecClass, tarvex::kSecClassKey},
                     {tarvex::kSecAttrKeyClass, tarvex::kSecAttrKeyClassPrivate}})) {
    labels.insert(attribute<std::string>(key, tarvex::kSecAttrLabel));
  }
  return labels;
}

tarvex::Crypto::ECDSA keyPair(const std::string& label) {
  return {label, tarvex::Crypto::Hash::sha256, tarvex::Crypto::Curve::p256,
          tarvex::kSecKeyAlgorithmECDSASignatureMessageX962SHA256};
}

}  // namespace inspector
