// The keychain on this machine's disk: an item service on one encrypted database per
// user, which all applications share.
//
//   keychain.db      the items
//   keychain.db-wal  the latest changes, folded into it now and then and when the last
//                    process closes it; keychain.db-shm is their index
//   keychain.key     what opens it, unless a passphrase does
//   keychain.lock    held by whoever opens, changes or closes it
//
// Service, account and group of an item are keyed hashes, which show only what is equal; class
// and synchronisation stand in clear; all else is sealed (AES-256-GCM). The master key lies in
// the database wrapped, by the bytes of the key file or by a passphrase (scrypt). A change is
// on the disk when its operation returns.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

struct KeychainStoreOptions {
  // Made when it is not there. When empty: $TARVEX_KEYCHAIN_DIR, or else
  // $XDG_DATA_HOME/tarvex, or else ~/.local/share/tarvex.
  std::string folder = {};

  // Asks for the passphrase; nothing or an empty text: the user gives none. When it is set
  // a new store opens by its passphrase only, otherwise by its key file. It is also called
  // to open a store that has no other way. It must not use the keychain; what it
  // throws comes out of the operation.
  std::function<std::optional<std::string>()> passphrase = {};
};

// The first operation opens the store, and makes it where there is none. Any number of threads
// and processes may use it at once, also straight after a fork; copies share the open file.
//
// Beside the statuses of every item service its operations answer these, and then nothing has
// changed:
//
//   errSecNotAvailable           no place for the folder, no key file, a file that is a
//                                link, or a folder or file that is somebody else's or
//                                readable by others
//   errSecInteractionNotAllowed  it opens by a passphrase, and there is none
//   errSecAuthFailed             the passphrase is wrong, or the key file another store's
//   errSecInvalidKeychain        no store, one of a newer format, or a damaged one
//   errSecDecode                 this item is damaged; others are not
//   errSecWrPerm                 the folder or a file is read-only
//   errSecDiskFull               no space left; reading goes on
//   errSecIO                     the disk fails, or another process has held the lock for 10
//                                seconds
class TARVEX_EXPORT KeychainStore {
 public:
  explicit KeychainStore(KeychainStoreOptions options = {});

  // The store stays open as long as a copy of the service lives.
  ItemService itemService() const;

  // Reads everything: the structure of the file, and each item. Returns `errSecSuccess`
  // when all of it is sound, `errSecDecode` when items are damaged, or why it cannot be read.
  // Makes no store: where there is none the answer is `errSecNotAvailable`.
  OSStatus check() const;

 private:
  std::shared_ptr<class StoreKeeper> keeper_;
};

}  // namespace tarvex
