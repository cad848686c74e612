// An open store: its folder, its file and its items. Internal.
#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>

#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/Store/ChangeCounter.h"
#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/KeySlots.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "TarvexCommon/Platform/Store/SealedItems.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// Without its master key it has no items yet. Whoever opens it or changes them holds the folder's
// lock.
struct OpenStore {
  // Throws `errSecInvalidKeychain` when the file is not a store.
  explicit OpenStore(StoreFolder itsFolder);

  // Returns false when the file was removed, or is another one of the same name.
  bool isInPlace() const;

  // Gives it its items and returns its master key; throws what `KeySlots::open` does.
  SealingKey openItems(const KeySlots& by, User& user);

  const StoreFolder folder;
  const Database database;
  const TransactionStatements transactions;
  const ChangeCounter counter;
  const std::optional<std::int64_t> lostChanges;  // when it was opened, as `ChangeCounter::lost`
  const std::optional<FileIdentity> fileIdentity;
  const Data id;         // the store's own, for life
  const KeySlots slots;  // when it was opened
  std::optional<SealedItems> items;
  std::atomic<bool> isDamaged = lostChanges.has_value();
};

// Folds the log into the file, if that is in place and not damaged, and the folder's lock can be
// had within a second; without the master key it is left as it is, and only an empty log is
// removed.
struct CloseStore {
  void operator()(OpenStore* store) const noexcept;
};

using OwnedStore = std::unique_ptr<OpenStore, CloseStore>;

// Returns whether there is a store, or something that bars its place.
bool hasStore(const KeychainStoreOptions& options);

// How much of a store is looked at before its key is asked for.
enum class LookAt { itsBeginning, allOfIt };

// Opens the store of a folder, which is made first where there is none.
OwnedStore openStore(const KeychainStoreOptions& options, LookAt first);

// Open the store of a folder without its items. Throw `errSecNotAvailable` where there is none;
// the second also opens one that has lost changes.
OwnedStore openWithoutItems(const KeychainStoreOptions& options);
OwnedStore openWithLosses(const KeychainStoreOptions& options);

// Returns the version of the format of the file in a folder, 0 when it is no store. Wants a
// `DatabaseUse`.
std::int64_t formatVersionIn(const StoreFolder& folder);

// Returns whether the structure of a store is sound after an operation has failed; reads all of it
// only when the failure gives reason to.
bool isSoundAfter(const OpenStore& store, const ItemFailure& failure);

// Runs an operation on an open store, within a `DatabaseUse`. Looks at the whole file when
// something in it is wrong; a damaged one is left alone.
template <std::invocable Operation>
void guarded(OpenStore& store, const Operation& operation) {
  ensure(!store.isDamaged, errSecInvalidKeychain);
  try {
    operation();
    store.database.ensureReadRight();
  } catch (const ItemFailure& failure) {
    store.isDamaged = failure.status == errSecInvalidKeychain || !isSoundAfter(store, failure);
    ensure(!store.isDamaged, errSecInvalidKeychain);
    throw;
  }
}

// While one lives nobody else changes the store, nor does another thread use it.
class StoreChange {
 public:
  // Throws `errSecIO` when the file was replaced: what is written would be lost.
  explicit StoreChange(OpenStore& store) : store_(store), lock_(store.folder.lock()) {
    ensure(store.isInPlace(), errSecIO);
  }

  // Does all of it or nothing.
  template <std::invocable Operation>
  void run(const Operation& operation) const {
    guarded(store_, [&] {
      store_.counter.runCounted(store_.transactions, [&] {
        operation();
        store_.database.ensureReadRight();
      });
    });
  }

 private:
  OpenStore& store_;
  FolderLock lock_;
  DatabaseUse use_;
};

}  // namespace tarvex
