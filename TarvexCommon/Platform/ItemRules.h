// What the dictionaries of the item operations mean, whatever keeps the items.
// Internal.
//
// A service parses first, then finds, changes and returns items by these rules:
// it knows how to keep them, oldest first, and nothing about attributes.
#pragma once

#include <concepts>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// Thrown by the functions below, turned into a status by `statusOf`.
struct ItemFailure {
  OSStatus status;
};

// A stored item. Its attributes are complete and of the right types; its dates are
// among them.
struct Item {
  ItemDictionary attributes;
  Data value;
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
  std::optional<Data> value;
};

// What to return of an item; the reference comes alone.
struct ItemReturns {
  bool data = false;
  bool attributes = false;
  bool reference = false;
};

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

// Two items with the same text may not be kept side by side.
std::string uniquenessKey(const Item& item);

// Returns what a look-up returns of one item. Throws `errSecDecode` for a reference
// to a key whose bytes are none.
ItemValue rendered(const Item& item, const ItemReturns& returns);

// The same of all that `query` found, at least one item: a list when it asked for all.
ItemValue rendered(const std::vector<Item>& found, const ItemReturns& returns,
                   const ItemQuery& query);

// Returns the status of an operation that may also throw it.
template <std::invocable Operation>
OSStatus statusOf(const Operation& operation) {
  try {
    return operation();
  } catch (const ItemFailure& failure) {
    return failure.status;
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  }
}

}  // namespace tarvex
