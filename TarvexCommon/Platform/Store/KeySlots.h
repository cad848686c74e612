// The slots of a store: its master key, wrapped once for each way to open it. Internal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Wiped.h"
#include "TarvexCommon/Platform/Linux/SecretService.h"
#include "TarvexCommon/Platform/Sealing.h"
#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "TarvexCommon/Platform/Store/SecretServiceKey.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// The table of the slots, a row each.
inline constexpr char slotTable[] =
    "CREATE TABLE slot(kind TEXT PRIMARY KEY, salt BLOB NOT NULL, cost INTEGER NOT NULL, "
    "wrapped BLOB NOT NULL)";

// The user, who is asked for a passphrase once, when it is needed.
class User {
 public:
  explicit User(AskForPassphrase ask, bool mayBePrompted = false)
      : ask_(std::move(ask)), prompts_(mayBePrompted ? Prompts::allowed : Prompts::none) {}

  // Returns its canonical form: keyboards differ in how they compose letters. Empty when
  // there is none.
  std::string_view passphrase();

  // Whether the desktop may ask as well.
  Prompts prompts() const { return prompts_; }

 private:
  AskForPassphrase ask_;
  Prompts prompts_;
  std::optional<Wiped<std::string>> passphrase_;
};

// What a slot is, but for its key.
struct Slot {
  std::string kind;
  Data salt = {};
  std::int64_t cost = 0;
  Data wrapped = {};
};

// A slot that is to be added, and its key. It is made, and goes, without a lock: nobody else waits
// for the user or the desktop.
class NewSlot {
 public:
  // Takes the key of the desktop's that is there, or makes one, which goes again with this unless
  // it is kept. Throws what `KeySlots::open` does.
  NewSlot(KeySlot kind, Bytes storeID, User& user);

  // For one that has been added.
  void keep() noexcept;

 private:
  friend class KeySlots;
  Sealer sealer(const StoreFolder& folder) const;

  Slot slot_;
  std::optional<NewKeyInService> inService_;
  std::optional<SealingKey> key_;  // that of a file is made when the slot is added
};

class KeySlots {
 public:
  // Reads them, and nothing else.
  KeySlots(const Database& database, Bytes storeID);

  bool isEmpty() const { return slots_.empty(); }
  bool has(KeySlot kind) const;
  std::vector<KeySlot> kinds() const;  // of those that are known
  KeySlots without(KeySlot kind) const;

  // Throws unless a slot of this kind can be added: `errSecInteractionNotAllowed` when there is
  // no passphrase for it, and what the desktop answers. This is where the user is asked.
  static void prepare(KeySlot kind, User& user);

  // Wraps the master key once more. A key file that is there is used, not replaced: it may open a
  // backup.
  void add(const NewSlot& added, const SealingKey& master, const Database& database,
           const StoreFolder& folder) const;

  // Removes the slot if there is one; its key stays.
  static void remove(KeySlot kind, const Database& database);

  // Returns the master key, by the first slot that opens. Throws what is most telling:
  // `errSecAuthFailed` for a wrong key, `errSecInteractionNotAllowed` for a passphrase that
  // nobody gives and a desktop that is locked, `errSecNotAvailable` for a key that is not there.
  SealingKey open(const StoreFolder& folder, User& user) const;

 private:
  SealingKey wrappingKey(const Slot& slot, const StoreFolder& folder, User& user) const;
  SealingKey unwrapped(const Slot& slot, const SealingKey& key) const;

  // What a master key is sealed with: the store's id, the cost in 8 bytes, big-endian, the
  // salt and the kind.
  Data contextOf(const Slot& slot) const;

  Data storeID_;
  std::vector<Slot> slots_;
};

}  // namespace tarvex
