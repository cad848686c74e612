// The keychain that lies on this machine: an item service on one encrypted file, which all
// applications of a user share.
//
//   keychain.db    the items: names as keyed hashes, all else sealed (AES-256-GCM)
//   keychain.key   what opens it, unless a passphrase does
//   keychain.lock  held by who writes
//
// The file is opened by the first operation, which makes it where there is none. The key of
// its items lies in it wrapped, once for each slot: by the bytes of the key file, or by a
// passphrase (scrypt). Each acknowledged change is on the disk.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Platform/ItemService.h"

namespace tarvex {

struct KeychainStoreOptions {
  // The folder, made when it is not there. When empty: $TARVEX_KEYCHAIN_DIR, or else
  // $XDG_DATA_HOME/tarvex, or else ~/.local/share/tarvex.
  std::string directory = {};

  // Asks for the passphrase; nothing or an empty text: the user gives none. When it is set
  // a new store opens by its passphrase only, otherwise by its key file. It is also called
  // to open a store that has no other way. It must not use the keychain.
  std::function<std::optional<std::string>()> passphrase = {};
};

// A store may be used by any number of threads and processes at once, also after a fork;
// copies share the open file.
//
// Beside the statuses of every item service its operations answer, and leave all as it is:
//
//   errSecNotAvailable           no folder; a folder or file that is somebody else's, that
//                                others may read, or that is no plain file; no key file
//   errSecInteractionNotAllowed  it opens by a passphrase, and there is none
//   errSecAuthFailed             the passphrase or the key file is not its own
//   errSecInvalidKeychain        not such a file, of a newer format, or damaged
//   errSecDecode                 this item is damaged; others are not
//   errSecWrPerm                 the folder or a file may not be written
//   errSecDiskFull               no space left; reading goes on
//   errSecIO                     the disk fails, or somebody has been writing for 10 seconds
class TARVEX_EXPORT KeychainStore {
 public:
  explicit KeychainStore(KeychainStoreOptions options = {});

  // The record keeps the store open.
  ItemService itemService() const;

  // Reads everything: the structure of the file, and each item. Returns `errSecSuccess`
  // when all of it is sound, `errSecDecode` when items are damaged, or why there is nothing
  // to be read.
  OSStatus check() const;

 private:
  std::shared_ptr<class StoreItems> items_;
};

}  // namespace tarvex
