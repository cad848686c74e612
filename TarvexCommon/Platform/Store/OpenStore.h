// An open store: its folder, its file and its items. Internal.
#pragma once

#include <memory>
#include <optional>

#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "TarvexCommon/Platform/Store/SealedItems.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// It has its items when its master key is known. Who changes them holds the folder's lock.
struct OpenStore {
  // Throws `errSecInvalidKeychain` when the file is not a store.
  explicit OpenStore(StoreFolder itsFolder);

  // Returns false when the file was removed, or is another one of the same name.
  bool isInPlace() const;

  // Reads the structure of the whole file.
  bool isSound() const;

  const StoreFolder folder;
  const Database database;
  const Transactions transactions;
  const std::optional<FileIdentity> identity;
  Data id;
  std::optional<SealedItems> items;
  bool isDamaged = false;
};

// Folds the log into the file when the master key is known and the file is in place; an empty
// log is only removed.
struct CloseStore {
  void operator()(OpenStore* store) const noexcept;
};

// Opens the store of a folder, which is made first where there is none.
std::unique_ptr<OpenStore, CloseStore> openStore(const KeychainStoreOptions& options);

}  // namespace tarvex
