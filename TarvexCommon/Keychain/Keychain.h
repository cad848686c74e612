// Text secrets of one service, as generic-password items of the item service.
//
// An item is addressed by its account, user + ":" + label.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/Required.h"
#include "TarvexCommon/Keychain/KeychainError.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// The secrets of a service and, when it is given, an access group. A value that
// keeps nothing but these two; every operation asks the item service anew.
//
// Every operation throws `KeychainError`; `unhandledError` carries the service's
// text for its status.
class TARVEX_EXPORT Keychain {
 public:
  struct Place {
    Required<std::string> service;
    Required<std::optional<std::string>> access;
  };

  explicit Keychain(Place place);

  const std::string& service() const noexcept { return service_; }
  const std::optional<std::string>& access() const noexcept { return access_; }

  struct NewItem {
    Required<std::string_view> valueData;  // the secret, UTF-8
    Required<std::string_view> user;
    Required<std::string_view> label;
    Required<std::optional<bool>> synced;      // absent: an item that is not synchronised
    Required<std::string_view> accessibility;  // `kSecAttrAccessible...`
  };

  // Adds the item, or replaces the value of the one that is there and nothing else
  // of it. Throws `stringConversionError`, `unhandledError`. When somebody else adds
  // the same item meanwhile, that is an `unhandledError`.
  void setItem(const NewItem& item) const;

  struct ItemName {
    Required<std::string_view> secretID;  // the user
    Required<std::string_view> label;
    Required<std::optional<bool>> synced;
  };

  // Returns the secret. Throws `itemNotFoundError`, `unhandledError`, or
  // `dataConversionError` when what is stored is not UTF-8.
  std::string getItem(const ItemName& name) const;

  // Throws `itemNotFoundError`, `unhandledError`.
  void removeItem(const ItemName& name) const;

  // Returns the attributes and data of all items of the service, synchronised or
  // not, of every access group. Throws `unhandledError`, also when there are none.
  std::vector<ItemDictionary> getAllItems() const;

  // Changes attributes of the items of the service with this account that are not
  // synchronised, of every access group. Throws `updateError`.
  void update(std::string_view account, const ItemDictionary& with) const;

  // Removes the items of the service that are not synchronised. Throws
  // `itemNotFoundError` when there are none, `unhandledError`.
  void removeAll() const;

 private:
  ItemDictionary query(const ItemName& name) const;

  std::string service_;
  std::optional<std::string> access_;
};

}  // namespace tarvex
