#include "TarvexCommon/Platform/Store/KeychainStore.h"

#include <atomic>
#include <filesystem>
#include <mutex>
#include <utility>

#include "TarvexCommon/Platform/ItemKeeper.h"
#include "TarvexCommon/Platform/Linux/Forks.h"
#include "TarvexCommon/Platform/Store/OpenStore.h"
#include "TarvexCommon/Platform/Store/StoreAdministration.h"

namespace tarvex {
namespace {

std::string absolute(const std::string& path) {
  std::error_code error;
  return path.empty() ? "" : std::filesystem::absolute(path, error).string();
}

}  // namespace

// Keeps the store open, and opens it again in a child process, when the file has been replaced, and
// when it was damaged.
class StoreKeeper {
 public:
  explicit StoreKeeper(KeychainStoreOptions options) : options_(std::move(options)) {
    options_.folder = absolute(options_.folder.empty() ? defaultStoreFolder() : options_.folder);
  }
  StoreKeeper(const StoreKeeper&) = delete;
  StoreKeeper& operator=(const StoreKeeper&) = delete;
  ~StoreKeeper() {
    const auto* last = current_.load();
    if (last->fork == forkNumber()) delete last;
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

  const KeychainStoreOptions& options() const { return options_; }

  void check() {
    ensure(hasStore(options_), errSecNotAvailable);
    read([](OpenStore& store) {
      ensure(store.database.isSound(), errSecInvalidKeychain);
      store.items->check();
    });
  }

 private:
  // What belongs to one process. A child leaves its parent's alone: the locks in it are held
  // by threads that the child does not have, and the file is open for the parent.
  struct PerProcess {
    const std::uint64_t fork = forkNumber();
    std::mutex opening;
    std::shared_ptr<OpenStore> store;
    bool wasDamaged = false;
  };

  template <typename Operation>
  void read(const Operation& operation) {
    use([&](OpenStore& store) {
      const DatabaseUse use;
      guarded(store, [&] { store.counter.whileNoneIsLost([&] { operation(store); }); });
    });
  }

  // On a full disk the log is folded first, which gives its room back.
  template <typename Operation>
  void change(const Operation& operation) {
    use([&](OpenStore& store) {
      const StoreChange change(store);
      const auto run = [&] { change.run([&] { operation(*store.items); }); };
      if (const OSStatus status = statusOf(run); status == errSecDiskFull) {
        store.database.foldLogSoon();
        run();
      } else {
        ensure(status == errSecSuccess, status);
      }
      store.database.foldLongLog();
    });
  }

  // A damaged store is closed: open it would keep SQLite from reading the log anew, also for those
  // who mend it.
  template <typename Operation>
  void use(const Operation& operation) {
    const std::shared_ptr<OpenStore> store = opened();
    try {
      operation(*store);
    } catch (const ItemFailure&) {
      if (store->isDamaged) letGoOf(store);
      throw;
    }
  }

  // After damage nobody is asked for the key before all is sound.
  std::shared_ptr<OpenStore> opened() {
    PerProcess& own = ofThisProcess();
    const std::lock_guard lock(own.opening);
    if (own.store && own.store->isInPlace()) return own.store;
    own.store.reset();
    own.store = openStore(options_, own.wasDamaged ? LookAt::allOfIt : LookAt::itsBeginning);
    own.wasDamaged = false;
    return own.store;
  }

  // Without waiting for those who open it: they may ask the user.
  void letGoOf(const std::shared_ptr<OpenStore>& damaged) {
    PerProcess& own = ofThisProcess();
    const std::unique_lock lock(own.opening, std::try_to_lock);
    if (!lock || own.store != damaged) return;
    own.store.reset();
    own.wasDamaged = true;
  }

  PerProcess& ofThisProcess() {
    PerProcess* last = current_.load(std::memory_order_acquire);
    if (last->fork == forkNumber()) return *last;
    auto fresh = std::make_unique<PerProcess>();
    if (current_.compare_exchange_strong(last, fresh.get())) return *fresh.release();
    return *last;
  }

  KeychainStoreOptions options_;
  std::atomic<PerProcess*> current_ = new PerProcess;
};

static_assert(ItemKeeper<StoreKeeper>);

KeychainStore::KeychainStore(KeychainStoreOptions options)
    : keeper_(std::make_shared<StoreKeeper>(std::move(options))) {}

ItemService KeychainStore::itemService() const { return itemServiceOf(keeper_); }

OSStatus KeychainStore::check() const {
  return statusOf([this] { keeper_->check(); });
}

KeychainStoreStatus KeychainStore::status() const {
  KeychainStoreStatus status;
  status.answer = statusOf([&] { describe(keeper_->options(), status); });
  return status;
}

OSStatus KeychainStore::addSlot(KeySlot slot, const AskForPassphrase& newPassphrase) const {
  return statusOf([&] { tarvex::addSlot(keeper_->options(), slot, newPassphrase); });
}

OSStatus KeychainStore::changePassphrase(const AskForPassphrase& newPassphrase) const {
  return statusOf([&] { tarvex::changePassphrase(keeper_->options(), newPassphrase); });
}

OSStatus KeychainStore::removeSlot(KeySlot slot) const {
  return statusOf([&] { tarvex::removeSlot(keeper_->options(), slot); });
}

OSStatus KeychainStore::acceptLoss() const {
  return statusOf([this] { tarvex::acceptLoss(keeper_->options()); });
}

OSStatus KeychainStore::backup(const std::string& file) const {
  return statusOf([&] { writeBackup(keeper_->options(), file); });
}

}  // namespace tarvex
