// From something that keeps items to an item service. Internal.
#pragma once

#include <concepts>
#include <memory>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/ItemRules.h"
#include "TarvexCommon/Platform/StatusText.h"

namespace tarvex {

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

// References to keys are made while the keeper is not in use: the key service may be a
// host's own.
template <ItemKeeper Keeper>
void add(Keeper& keeper, const ItemDictionary& attributes, ItemValue* result) {
  const Item item = parseItem(attributes);
  const ItemReturns returns = parseReturns(attributes);
  ItemValue answer = result == nullptr ? ItemValue() : rendered(item, returns);
  keeper.insert(item);
  if (result != nullptr) *result = std::move(answer);
}

template <ItemKeeper Keeper>
void copyMatching(Keeper& keeper, const ItemDictionary& given, ItemValue* result) {
  const ItemQuery query = parseQuery(given);
  const ItemReturns returns = parseReturns(given);
  auto found = keeper.find(query, result == nullptr ? ItemReturns() : returns);
  ensure(!found.empty(), errSecItemNotFound);
  if (result != nullptr) *result = rendered(std::move(found), returns, query);
}

// Returns the service on a keeper.
template <ItemKeeper Keeper>
ItemService itemServiceOf(const std::shared_ptr<Keeper>& keeper) {
  return {.add =
              [keeper](const ItemDictionary& attributes, ItemValue* result) {
                return statusOf([&] { add(*keeper, attributes, result); });
              },
          .copyMatching =
              [keeper](const ItemDictionary& query, ItemValue* result) {
                return statusOf([&] { copyMatching(*keeper, query, result); });
              },
          .update =
              [keeper](const ItemDictionary& query, const ItemDictionary& changes) {
                return statusOf([&] { keeper->update(parseQuery(query), parseChanges(changes)); });
              },
          .remove =
              [keeper](const ItemDictionary& query) {
                return statusOf([&] { keeper->remove(parseQuery(query)); });
              },
          .copyErrorMessage = statusText};
}

}  // namespace tarvex
