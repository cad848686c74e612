// What the dictionaries of the item operations mean, whatever keeps the items.
// Internal.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// A stored item. Its attributes are complete and of the right types; its dates are
// among them.
struct Item {
  ItemDictionary attributes;
  Wiped<Data> value;
};

enum class MatchLimit { one, all };

// The items that have each of these attributes and are in one of these groups.
struct ItemQuery {
  ItemDictionary attributes;  // without synchronisation when either will do
  std::vector<std::string> accessGroups;
  std::optional<MatchLimit> matchLimit;  // when it is named
};

// What an item gets, its new modification date included.
struct ItemChanges {
  ItemDictionary attributes;
  std::optional<Wiped<Data>> value;
};

// What to return of an item; the reference comes alone.
struct ItemReturns {
  bool data = false;
  bool attributes = false;
  bool reference = false;
};

// Returns whether these are the attributes of an item, as an `Item` promises them.
bool areOfItem(const ItemDictionary& attributes);

// These three throw `errSecParam` for a missing class, a value of a wrong type and
// empty changes; `errSecUnimplemented` for a class or key that they do not know;
// `errSecMissingEntitlement` for an access group that the process may not use.
Item parseItem(const ItemDictionary& given);
ItemQuery parseQuery(const ItemDictionary& given);
ItemChanges parseChanges(const ItemDictionary& given);

// Reads what to return from a dictionary that one of the others took. Throws
// `errSecParam` for what the class cannot give.
ItemReturns parseReturns(const ItemDictionary& given);

bool matches(const Item& item, const ItemQuery& query);

void apply(const ItemChanges& changes, Item& item);

// Returns whether the dictionary is of a key; otherwise it is of a password. Throws as above
// when it is of neither.
bool isKey(const ItemDictionary& given);

// The attributes by which items of a class are told apart, besides class, key class, access
// group and synchronisation.
struct IdentityNames {
  const char* service;  // of a key: its tag
  const char* account;  // of a key: the hash of the public key
};
const IdentityNames& identityNames(const ItemDictionary& attributes);

// Returns the text of an attribute by which items are told apart.
std::string_view identityText(const ItemValue& value);

// Two items with the same text may not be kept side by side.
std::string uniquenessKey(const Item& item);

// Whether the attributes or the value of what is found have to be known.
inline bool needsAttributes(const ItemReturns& returns) {
  return returns.attributes || returns.reference;
}
inline bool needsValue(const ItemReturns& returns) { return returns.data || returns.reference; }

// Returns what a look-up returns of one item. Throws `errSecDecode` for a reference
// to a key whose bytes are none.
ItemValue rendered(Item item, const ItemReturns& returns);

// The same of all that `query` found, at least one item: a list when it asked for all.
ItemValue rendered(std::vector<Item> found, const ItemReturns& returns, const ItemQuery& query);

}  // namespace tarvex
