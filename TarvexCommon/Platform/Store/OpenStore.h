// An open store: its folder, its file and its items. Internal.
#pragma once

#include <memory>
#include <optional>

#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "TarvexCommon/Platform/Store/SealedItems.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// Without its master key it has no items yet. Whoever changes them holds the folder's lock.
struct OpenStore {
  // Throws `errSecInvalidKeychain` when the file is not a store.
  explicit OpenStore(StoreFolder itsFolder);

  // Returns false when the file was removed, or is another one of the same name.
  bool isInPlace() const;

  // Reads the structure of the whole file.
  bool isSound() const;

  const StoreFolder folder;
  const Database database;
  const TransactionStatements transactions;
  const std::optional<FileIdentity> fileIdentity;
  Data id;  // the store's own, for life
  std::optional<SealedItems> items;
  bool isDamaged = false;
};

// Folds the log into the file, if that is still in place and the folder's lock can be had within
// a second; without the master key it is left as it is, and only an empty log is removed.
struct CloseStore {
  void operator()(OpenStore* store) const noexcept;
};

// Returns whether there is a store, or something that bars its place.
bool hasStore(const KeychainStoreOptions& options);

// Opens the store of a folder, which is made first where there is none.
std::unique_ptr<OpenStore, CloseStore> openStore(const KeychainStoreOptions& options);

}  // namespace tarvex
