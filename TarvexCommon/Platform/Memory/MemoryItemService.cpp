#include "TarvexCommon/Platform/Memory/MemoryItemService.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/ItemRules.h"
#include "TarvexCommon/Platform/StatusText.h"

namespace tarvex {
namespace {

auto matching(const ItemQuery& query) {
  return [&query](const Item& item) { return matches(item, query); };
}

// The key service makes references outside the lock: it may be a host's own.
class MemoryItems {
 public:
  OSStatus add(const ItemDictionary& attributes, ItemValue* result) {
    Item item = parseItem(attributes);
    const ItemReturns returns = parseReturns(attributes);
    ItemValue answer = result == nullptr ? ItemValue() : rendered(item, returns);
    if (!insert(std::move(item))) return errSecDuplicateItem;
    if (result != nullptr) *result = std::move(answer);
    return errSecSuccess;
  }

  OSStatus copyMatching(const ItemDictionary& given, ItemValue* result) const {
    const ItemQuery query = parseQuery(given);
    const ItemReturns returns = parseReturns(given);
    const std::vector<Item> found = find(query);
    if (found.empty()) return errSecItemNotFound;
    if (result != nullptr) *result = rendered(found, returns, query);
    return errSecSuccess;
  }

  OSStatus update(const ItemDictionary& given, const ItemDictionary& givenChanges) {
    const ItemQuery query = parseQuery(given);
    const ItemChanges changes = parseChanges(givenChanges);
    const std::lock_guard lock(mutex_);
    if (std::ranges::none_of(items_, matching(query))) return errSecItemNotFound;
    std::vector<Item> changed = items_;
    for (Item& item : changed) {
      if (matches(item, query)) apply(changes, item);
    }
    if (!areUnique(changed)) return errSecDuplicateItem;
    items_ = std::move(changed);
    return errSecSuccess;
  }

  OSStatus remove(const ItemDictionary& given) {
    const ItemQuery query = parseQuery(given);
    const std::lock_guard lock(mutex_);
    const auto oldest = std::ranges::find_if(items_, matching(query));
    if (oldest == items_.end()) return errSecItemNotFound;
    if (query.matchLimit == MatchLimit::one) {
      items_.erase(oldest);
    } else {
      std::erase_if(items_, matching(query));
    }
    return errSecSuccess;
  }

 private:
  static bool areUnique(const std::vector<Item>& items) {
    std::set<std::string> keys;
    return std::ranges::all_of(
        items, [&keys](const Item& item) { return keys.insert(uniquenessKey(item)).second; });
  }

  // Returns false when the same item is there.
  bool insert(Item item) {
    const std::lock_guard lock(mutex_);
    if (std::ranges::count(items_, uniquenessKey(item), uniquenessKey) > 0) return false;
    items_.push_back(std::move(item));
    return true;
  }

  std::vector<Item> find(const ItemQuery& query) const {
    const std::lock_guard lock(mutex_);
    std::vector<Item> found;
    for (const Item& item : items_) {
      if (matches(item, query)) found.push_back(item);
      if (query.matchLimit != MatchLimit::all && !found.empty()) break;
    }
    return found;
  }

  mutable std::mutex mutex_;
  std::vector<Item> items_;  // oldest first
};

// Returns an operation on `items` as the record wants it, with failures as statuses.
template <typename Operation>
auto shared(const std::shared_ptr<MemoryItems>& items, Operation operation) {
  return [items, operation](const auto&... arguments) {
    return statusOf([&] { return ((*items).*operation)(arguments...); });
  };
}

}  // namespace

ItemService memoryItemService() {
  const auto items = std::make_shared<MemoryItems>();
  return {.add = shared(items, &MemoryItems::add),
          .copyMatching = shared(items, &MemoryItems::copyMatching),
          .update = shared(items, &MemoryItems::update),
          .remove = shared(items, &MemoryItems::remove),
          .copyErrorMessage = statusText};
}

}  // namespace tarvex
