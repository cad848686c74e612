#include "TarvexCommon/Platform/Memory/MemoryItemService.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "TarvexCommon/Platform/ItemKeeper.h"

namespace tarvex {
namespace {

auto matching(const ItemQuery& query) {
  return [&query](const Item& item) { return matches(item, query); };
}

class MemoryItems {
 public:
  void insert(const Item& item) {
    const std::lock_guard lock(mutex_);
    ensure(std::ranges::count(items_, uniquenessKey(item), uniquenessKey) == 0,
           errSecDuplicateItem);
    items_.push_back(item);
  }

  std::vector<Item> find(const ItemQuery& query, const ItemReturns&) const {
    const std::lock_guard lock(mutex_);
    std::vector<Item> found;
    for (const Item& item : items_) {
      if (matches(item, query)) found.push_back(item);
      if (query.matchLimit != MatchLimit::all && !found.empty()) break;
    }
    return found;
  }

  void update(const ItemQuery& query, const ItemChanges& changes) {
    const std::lock_guard lock(mutex_);
    ensure(std::ranges::any_of(items_, matching(query)), errSecItemNotFound);
    std::vector<Item> changed = items_;
    for (Item& item : changed) {
      if (matches(item, query)) apply(changes, item);
    }
    ensure(areUnique(changed), errSecDuplicateItem);
    items_ = std::move(changed);
  }

  void remove(const ItemQuery& query) {
    const std::lock_guard lock(mutex_);
    const auto oldest = std::ranges::find_if(items_, matching(query));
    ensure(oldest != items_.end(), errSecItemNotFound);
    if (query.matchLimit == MatchLimit::one) {
      items_.erase(oldest);
    } else {
      std::erase_if(items_, matching(query));
    }
  }

 private:
  static bool areUnique(const std::vector<Item>& items) {
    std::set<std::string> keys;
    return std::ranges::all_of(
        items, [&keys](const Item& item) { return keys.insert(uniquenessKey(item)).second; });
  }

  mutable std::mutex mutex_;
  std::vector<Item> items_;  // oldest first
};

static_assert(ItemKeeper<MemoryItems>);

}  // namespace

ItemService memoryItemService() { return itemServiceOf(std::make_shared<MemoryItems>()); }

}  // namespace tarvex
