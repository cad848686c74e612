// What the dictionaries of the item operations mean, whatever keeps the items.
// Internal.
//
// A service parses first, then finds, changes and returns items by these rules:
// it knows how to keep them, oldest first, and nothing about attributes.
#pragma once

#include <concepts>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/ItemService.h"
#include "TarvexCommon/Platform/StatusText.h"

namespace tarvex {

// Thrown by the functions below, turned into a status by `statusOf`.
struct ItemFailure {
  OSStatus status;
};

inline void ensure(bool condition, OSStatus otherwise) {
  if (!condition) throw ItemFailure{otherwise};
}

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

// Runs an operation and returns its status, thrown or not.
template <std::invocable Operation>
OSStatus statusOf(const Operation& operation) {
  try {
    operation();
    return errSecSuccess;
  } catch (const ItemFailure& failure) {
    return failure.status;
  } catch (const std::bad_alloc&) {
    return errSecAllocate;
  }
}

// A keeper of items has these four operations, each of which throws or does all of it:
//
//   insert   throws `errSecDuplicateItem`
//   find     returns the matches, oldest first, only the oldest unless the query asks for
//            all; attributes and values only where they are needed
//   update   throws `errSecItemNotFound`, `errSecDuplicateItem`
//   remove   all matches, or the oldest one with a limit of one; `errSecItemNotFound`
template <typename Keeper>
concept ItemKeeper = requires(Keeper& keeper, const Item& item, const ItemQuery& query,
                              const ItemReturns& returns, const ItemChanges& changes) {
  keeper.insert(item);
  { keeper.find(query, returns) } -> std::same_as<std::vector<Item>>;
  keeper.update(query, changes);
  keeper.remove(query);
};

// Returns the service on a keeper. References to keys are made while the keeper is not in
// use: the key service may be a host's own.
template <ItemKeeper Keeper>
ItemService itemServiceOf(const std::shared_ptr<Keeper>& keeper) {
  const auto add = [keeper](const ItemDictionary& attributes, ItemValue* result) {
    return statusOf([&] {
      const Item item = parseItem(attributes);
      const ItemReturns returns = parseReturns(attributes);
      ItemValue answer = result == nullptr ? ItemValue() : rendered(item, returns);
      keeper->insert(item);
      if (result != nullptr) *result = std::move(answer);
    });
  };
  const auto copyMatching = [keeper](const ItemDictionary& given, ItemValue* result) {
    return statusOf([&] {
      const ItemQuery query = parseQuery(given);
      const ItemReturns returns = parseReturns(given);
      auto found = keeper->find(query, result == nullptr ? ItemReturns() : returns);
      ensure(!found.empty(), errSecItemNotFound);
      if (result != nullptr) *result = rendered(std::move(found), returns, query);
    });
  };
  const auto update = [keeper](const ItemDictionary& query, const ItemDictionary& changes) {
    return statusOf([&] { keeper->update(parseQuery(query), parseChanges(changes)); });
  };
  const auto remove = [keeper](const ItemDictionary& query) {
    return statusOf([&] { keeper->remove(parseQuery(query)); });
  };
  return {.add = add,
          .copyMatching = copyMatching,
          .update = update,
          .remove = remove,
          .copyErrorMessage = statusText};
}

}  // namespace tarvex
