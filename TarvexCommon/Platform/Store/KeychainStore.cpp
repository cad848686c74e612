#include "TarvexCommon/Platform/Store/KeychainStore.h"

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <mutex>
#include <utility>

#include "TarvexCommon/Platform/ItemRules.h"
#include "TarvexCommon/Platform/Store/OpenStore.h"

namespace tarvex {
namespace {

std::string absolute(const std::string& path) {
  std::error_code error;
  return path.empty() ? "" : std::filesystem::absolute(path, error).string();
}

}  // namespace

// Keeps the store open, and opens it again in a child process and when the file is another.
class StoreItems {
 public:
  explicit StoreItems(KeychainStoreOptions options) : options_(std::move(options)) {
    options_.directory =
        absolute(options_.directory.empty() ? defaultStoreDirectory() : options_.directory);
  }
  StoreItems(const StoreItems&) = delete;
  StoreItems& operator=(const StoreItems&) = delete;
  ~StoreItems() {
    const auto* last = current_.load();
    if (last->process == getpid()) delete last;
  }

  std::vector<Item> find(const ItemQuery& query, const ItemReturns& returns) {
    std::vector<Item> found;
    read([&](OpenStore& store) { found = store.items->find(query, returns); });
    return found;
  }

  void insert(const Item& item) {
    change([&](SealedItems& items) { items.insert(item); });
  }

  void update(const ItemQuery& query, const ItemChanges& changes) {
    change([&](SealedItems& items) { items.update(query, changes); });
  }

  void remove(const ItemQuery& query) {
    change([&](SealedItems& items) { items.remove(query); });
  }

  void check() {
    read([](OpenStore& store) {
      ensure(store.isSound(), errSecInvalidKeychain);
      store.items->check();
    });
  }

 private:
  // What belongs to one process. A child leaves its parent's alone: the locks in it are held
  // by threads that the child does not have, and the file is open for the parent.
  struct Ownership {
    const pid_t process = getpid();
    std::mutex opening;
    std::shared_ptr<OpenStore> store;
  };

  template <typename Operation>
  void read(const Operation& operation) {
    const std::shared_ptr<OpenStore> store = opened();
    const DatabaseUse use;
    guarded(*store, [&] { operation(*store); });
  }

  template <typename Operation>
  void change(const Operation& operation) {
    const std::shared_ptr<OpenStore> store = opened();
    const FolderLock lock = store->folder.lock();
    ensure(store->isInPlace(), errSecIO);  // replaced since: what is written would be lost
    const DatabaseUse use;
    guarded(*store, [&] {
      Transaction transaction(store->transactions);
      operation(*store->items);
      transaction.commit();
      store->database.foldLongLog();
    });
  }

  // Looks at the whole file when something in it is wrong; a damaged one is left alone.
  template <typename Operation>
  static void guarded(OpenStore& store, const Operation& operation) {
    ensure(!store.isDamaged, errSecInvalidKeychain);
    try {
      operation();
    } catch (const ItemFailure& failure) {
      const bool isSuspect = failure.status == errSecDecode && !store.isSound();
      store.isDamaged = isSuspect || failure.status == errSecInvalidKeychain;
      ensure(!store.isDamaged, errSecInvalidKeychain);
      throw;
    }
  }

  std::shared_ptr<OpenStore> opened() {
    Ownership& own = ownership();
    const std::lock_guard lock(own.opening);
    if (own.store && own.store->isInPlace()) return own.store;
    own.store.reset();
    own.store = openStore(options_);
    return own.store;
  }

  Ownership& ownership() {
    Ownership* last = current_.load(std::memory_order_acquire);
    if (last->process == getpid()) return *last;
    auto fresh = std::make_unique<Ownership>();
    if (current_.compare_exchange_strong(last, fresh.get())) return *fresh.release();
    return *last;
  }

  KeychainStoreOptions options_;
  std::atomic<Ownership*> current_ = new Ownership;
};

KeychainStore::KeychainStore(KeychainStoreOptions options)
    : items_(std::make_shared<StoreItems>(std::move(options))) {}

ItemService KeychainStore::itemService() const { return itemServiceOf(items_); }

OSStatus KeychainStore::check() const {
  return statusOf([this] { items_->check(); });
}

}  // namespace tarvex
