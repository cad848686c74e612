#include "TarvexCommon/Keychain/Keychain.h"

#include <utility>

#include "TarvexCommon/Base/Text.h"
#include "TarvexCommon/Common/StatusMessage.h"

namespace tarvex {
namespace {

KeychainError unhandled(OSStatus status) {
  return KeychainError::unhandledError(statusMessage(status));
}

void throwUnlessFound(OSStatus status) {
  if (status == errSecItemNotFound) throw KeychainError::itemNotFoundError();
  if (status != errSecSuccess) throw unhandled(status);
}

// Returns the elements when all of them are dictionaries.
std::optional<std::vector<ItemDictionary>> dictionaries(const ItemValue& found) {
  const auto* list = found.get<ItemValue::List>();
  if (list == nullptr) return std::nullopt;
  std::vector<ItemDictionary> result;
  for (const ItemValue& element : *list) {
    const auto* dictionary = element.get<ItemDictionary>();
    if (dictionary == nullptr) return std::nullopt;
    result.push_back(*dictionary);
  }
  return result;
}

}  // namespace

Keychain::Keychain(Place place)
    : service_(std::move(place.service).get()), access_(std::move(place.access).get()) {}

ItemDictionary Keychain::query(const ItemName& name) const {
  const std::string account =
      std::string(name.secretID.get()) + ':' + std::string(name.label.get());
  ItemDictionary query = {{kSecClass, kSecClassGenericPassword},
                          {kSecAttrService, service_},
                          {kSecAttrAccount, account},
                          {kSecUseDataProtectionKeychain, true}};
  if (access_) query.emplace(kSecAttrAccessGroup, *access_);
  if (const auto synced = name.synced.get()) query.emplace(kSecAttrSynchronizable, *synced);
  return query;
}

void Keychain::setItem(const NewItem& item) const {
  if (!isUTF8(item.valueData.get())) throw KeychainError::stringConversionError();
  const ItemValue data = toData(item.valueData.get());
  ItemDictionary attributes =
      query({.secretID = item.user.get(), .label = item.label.get(), .synced = item.synced.get()});
  attributes.emplace(kSecAttrAccessible, item.accessibility.get());
  OSStatus status = SecItemCopyMatching(attributes);
  if (status == errSecSuccess) {
    status = SecItemUpdate(attributes, {{kSecValueData, data}});
  } else if (status == errSecItemNotFound) {
    attributes.emplace(kSecValueData, data);
    status = SecItemAdd(attributes);
  }
  if (status != errSecSuccess) throw unhandled(status);
}

std::string Keychain::getItem(const ItemName& name) const {
  ItemDictionary one = query(name);
  one.emplace(kSecMatchLimit, kSecMatchLimitOne);
  one.emplace(kSecReturnData, true);
  ItemValue found;
  throwUnlessFound(SecItemCopyMatching(one, &found));
  const auto* data = found.get<Data>();
  if (data == nullptr || !isUTF8(Bytes(*data).text())) throw KeychainError::dataConversionError();
  return std::string(Bytes(*data).text());
}

// The return key does nothing in a removal, but has always been in its query.
void Keychain::removeItem(const ItemName& name) const {
  ItemDictionary one = query(name);
  one.emplace(kSecMatchLimit, kSecMatchLimitOne);
  one.emplace(kSecReturnData, true);
  throwUnlessFound(SecItemDelete(one));
}

std::vector<ItemDictionary> Keychain::getAllItems() const {
  ItemValue found;
  const OSStatus status = SecItemCopyMatching({{kSecClass, kSecClassGenericPassword},
                                               {kSecAttrService, service_},
                                               {kSecMatchLimit, kSecMatchLimitAll},
                                               {kSecUseDataProtectionKeychain, true},
                                               {kSecReturnAttributes, true},
                                               {kSecReturnData, true},
                                               {kSecAttrSynchronizable, kSecAttrSynchronizableAny}},
                                              &found);
  auto items = status == errSecSuccess ? dictionaries(found) : std::nullopt;
  if (!items) throw unhandled(status);
  return std::move(*items);
}

void Keychain::update(std::string_view account, const ItemDictionary& with) const {
  const ItemDictionary query = {{kSecClass, kSecClassGenericPassword},
                                {kSecAttrService, service_},
                                {kSecAttrAccount, account}};
  if (SecItemUpdate(query, with) != errSecSuccess) throw KeychainError::updateError();
}

void Keychain::removeAll() const {
  ItemDictionary query = {{kSecClass, kSecClassGenericPassword},
                          {kSecAttrService, service_},
                          {kSecMatchLimit, kSecMatchLimitAll},
                          {kSecUseDataProtectionKeychain, true}};
  if (access_) query.emplace(kSecAttrAccessGroup, *access_);
  throwUnlessFound(SecItemDelete(query));
}

}  // namespace tarvex
