// The keychain on this machine's disk: an item service on one encrypted database per
// user, which all applications share.
//
//   keychain.db      the items
//   keychain.db-wal  the latest changes, folded into it now and then and when the last
//                    process closes it; keychain.db-shm is their index
//   keychain.key     what opens it, where it has that slot
//   keychain.lock    held by whoever opens, changes or closes it
//   keychain.slots   held by whoever adds or removes a way to open it
//   keychain.count   how many changes it has had, to notice when some are lost
//
// Service, account and group of an item are keyed hashes, which show only what is equal; class
// and synchronisation stand in clear; all else is sealed (AES-256-GCM). The master key lies in
// the database wrapped, in a slot for each way to open it: the bytes of the key file, those of an
// item in the desktop's Secret Service, a passphrase (scrypt). A change is on the disk when its
// operation returns.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

// Asks for a passphrase; nothing or an empty text: the user gives none. It must not use the
// keychain; what it throws comes out of the operation.
using AskForPassphrase = std::function<std::optional<std::string>()>;

// A way to open a store, which has one or more.
enum class KeySlot { file, passphrase, secretService };

struct KeychainStoreOptions {
  // Made when it is not there. When empty: $TARVEX_KEYCHAIN_DIR, or else
  // $XDG_DATA_HOME/tarvex, or else ~/.local/share/tarvex.
  std::string folder = {};

  // Called to open a store that nothing else opens.
  AskForPassphrase passphrase = {};

  // What a new store opens by. When it is not said: the passphrase, if there is somebody to ask for
  // it; or else the desktop's Secret Service, where it answers and its default collection is
  // unlocked already, whatever `mayPrompt` says; or else a key file. A store that is there has the
  // slots that it has.
  std::optional<KeySlot> firstSlot = {};

  // Whether the desktop may ask the user to unlock its keyring where the store needs it; an
  // operation then waits for the answer, up to two minutes. Otherwise it answers
  // `errSecInteractionNotAllowed` where the keyring is locked.
  bool mayPrompt = false;
};

// What a store tells without its key.
struct KeychainStoreStatus {
  OSStatus answer = errSecSuccess;  // why it tells no more, also success where there is no store
  std::string folder = {};          // an absolute path
  bool isThere = false;
  std::int64_t bytes = 0;          // the database and its log
  std::int64_t formatVersion = 0;  // 2 is the one that is read; 0 is no store's
  std::int64_t itemCount = 0;
  std::vector<KeySlot> slots = {};

  // How many of the latest changes are lost, because the log or its end is; 0 when that is not
  // known, because keychain.count is lost or damaged; nothing when none is.
  std::optional<std::int64_t> lostChanges = {};
};

// The first operation opens the store, and makes it where there is none. Any number of threads
// and processes may use it at once, also straight after a fork; copies share the open file.
//
// Beside the statuses of every item service its operations answer these, and then nothing has
// changed:
//
//   errSecNotAvailable           no place for the folder, no key file, a file that is a
//                                link, or a folder or file that is somebody else's or
//                                readable by others; no Secret Service, no answer from it
//                                within 5 seconds, no key in it; no store, where none is made
//   errSecInteractionNotAllowed  it opens by a passphrase, and there is none, or no new one;
//                                the desktop's keyring is locked
//   errSecAuthFailed             the passphrase is wrong, or the key another store's
//   errSecInvalidKeychain        no store, one of another format, one that is damaged or has
//                                lost its latest changes
//   errSecDecode                 this item is damaged; others are not
//   errSecWrPerm                 the folder or a file is read-only
//   errSecDiskFull               no space left; reading goes on
//   errSecAllocate               no memory, or no thread to speak to the keyring; the backup would
//                                be of 2 GiB or more
//   errSecIO                     the disk fails, or others have held the lock for 10 seconds, or
//                                that of the slots for a minute
//   errSecDuplicateItem          there is such a slot, or a file where the backup is to be
//   errSecItemNotFound           there is no such slot
//   errSecParam                  it is the last slot; the backup has no file name
class TARVEX_EXPORT KeychainStore {
 public:
  explicit KeychainStore(KeychainStoreOptions options = {});

  // The store stays open as long as a copy of the service lives.
  ItemService itemService() const;

  // Reads everything: the structure of the file, and each item. Returns `errSecSuccess`
  // when all of it is sound, `errSecDecode` when items are damaged, or why it cannot be read.
  // Makes no store, nor do the operations below.
  OSStatus check() const;

  // Asks for no passphrase.
  KeychainStoreStatus status() const;

  // Adds a way to open the store, which has to open by one that it has; then the new passphrase
  // is asked for. A key file or item of the Secret Service that is there without a slot is used,
  // not replaced: it may open a backup. Those who have the store open go on using it, whatever
  // becomes of the slots.
  OSStatus addSlot(KeySlot slot, const AskForPassphrase& newPassphrase = {}) const;

  // Replaces the passphrase in one step. The store has to open by the old one or another slot.
  OSStatus changePassphrase(const AskForPassphrase& newPassphrase) const;

  // Removes a way to open the store, which has to open by another one, so that nobody is locked
  // out. The key file goes with its slot, the item of the Secret Service where that is unlocked.
  // The master key stays: a backup still opens by the slots that it has, as long as their keys
  // are somewhere.
  OSStatus removeSlot(KeySlot slot) const;

  // Goes on with a store that has lost its latest changes, as it was before them: until then it
  // answers `errSecInvalidKeychain` and is left as it is. Services that found it so go on with it
  // too. Does nothing with a store that has lost nothing.
  OSStatus acceptLoss() const;

  // Writes the database as it is now to a new file, while others go on using it; asks for no
  // passphrase. Put into an empty folder as keychain.db, beside the same keychain.key if it
  // has that slot, it is the store. A damaged structure is refused; whether every item opens
  // only `check` tells.
  OSStatus backup(const std::string& file) const;

 private:
  std::shared_ptr<class StoreKeeper> keeper_;
};

}  // namespace tarvex
