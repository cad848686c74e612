// A store where there is none yet, and what every store has in common. Internal.
#pragma once

#include <cstddef>
#include <string>

#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/KeySlots.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// "TVKC", and the version that is written and the only one that is read.
inline constexpr Database::Format storeFormat = {.application = 0x54564B43, .version = 2};

inline constexpr std::size_t storeIDSize = 16;

// The whole schema, as SQLite gives it back.
std::string storeSchema();

class NewStore {
 public:
  // Returns whether there is none. Throws `errSecInvalidKeychain` where there is what one has left.
  static bool isToBeMade(const StoreFolder& folder);

  // Gets the key of its first slot, for which the user may be asked: without the folder's lock.
  NewStore(const KeychainStoreOptions& options, User& user);

  // It appears under its name when all of it is on the disk. Wants the folder's lock.
  void make(const StoreFolder& folder);

 private:
  void fill(const Database& database, const StoreFolder& folder) const;

  Data id_;
  NewSlot firstSlot_;
};

}  // namespace tarvex
