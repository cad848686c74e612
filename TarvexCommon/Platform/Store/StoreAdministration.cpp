#include "TarvexCommon/Platform/Store/StoreAdministration.h"

#include <concepts>
#include <filesystem>
#include <system_error>

#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/Store/OpenStore.h"
#include "TarvexCommon/Platform/Store/SecretServiceKey.h"

namespace tarvex {
namespace {

KeySlots slotsNow(const OpenStore& store) { return {store.database, store.id}; }

// Puts a slot in the place of the one of its kind, where `check` does not throw. A key file, or
// the key in the Secret Service, is there before its slot; one that is left when this is killed
// opens nothing, and the next one to add its slot takes it.
template <std::invocable<const KeySlots&> Check>
void putSlot(const KeychainStoreOptions& options, KeySlot kind,
             const AskForPassphrase& newPassphrase, const Check& check) {
  const auto store = openWithoutItems(options);
  check(store->slots);
  User user(options.passphrase, options.mayPrompt);
  User withNewPassphrase(newPassphrase, options.mayPrompt);
  const SealingKey master = store->openItems(store->slots, user);
  KeySlots::prepare(kind, withNewPassphrase);
  const FolderLock turn = store->folder.lockSlots();
  NewSlot slot(kind, store->id, withNewPassphrase);
  const StoreChange change(*store);
  const bool makesKeyFile = kind == KeySlot::file && !store->folder.has(keyFile);
  try {
    change.run([&] {
      const KeySlots slots = slotsNow(*store);
      check(slots);
      KeySlots::remove(kind, store->database);
      slots.add(slot, master, store->database, store->folder);
    });
  } catch (...) {
    if (makesKeyFile) store->folder.removeIfThere(keyFile);
    throw;
  }
  slot.keep();
  store->database.foldLogSoon();
}

// Throws unless there is the slot and another one. A key file without a slot may be what is left
// of one.
void ensureRemovable(KeySlot kind, const KeySlots& slots, const StoreFolder& folder) {
  const bool isLeft = kind == KeySlot::file && folder.has(keyFile);
  ensure(slots.has(kind) || isLeft, errSecItemNotFound);
  ensure(!slots.without(kind).isEmpty(), errSecParam);
}

}  // namespace

void describe(const KeychainStoreOptions& options, KeychainStoreStatus& status) {
  status.folder = options.folder;
  status.isThere = hasStore(options);
  if (!status.isThere) return;
  const StoreFolder folder(options.folder);
  status.bytes = folder.sizeOf(storeFile) + folder.sizeOf(logFile);
  if (folder.has(storeFile)) {
    const DatabaseUse use;
    status.formatVersion = formatVersionIn(folder);
  }
  const auto store = openWithLosses(options);
  const DatabaseUse use;
  status.lostChanges = store->lostChanges;
  ensure(!store->isDamaged, errSecInvalidKeychain);
  status.itemCount = store->database.integer("SELECT count(*) FROM item");
  status.slots = store->slots.kinds();
  store->database.ensureReadRight();
}

void addSlot(const KeychainStoreOptions& options, KeySlot slot,
             const AskForPassphrase& newPassphrase) {
  putSlot(options, slot, newPassphrase,
          [slot](const KeySlots& slots) { ensure(!slots.has(slot), errSecDuplicateItem); });
}

void changePassphrase(const KeychainStoreOptions& options, const AskForPassphrase& newPassphrase) {
  putSlot(options, KeySlot::passphrase, newPassphrase, [](const KeySlots& slots) {
    ensure(slots.has(KeySlot::passphrase), errSecItemNotFound);
  });
}

namespace {

// The key file goes when its slot has gone: until then it opens the store. The log is folded away
// because it may hold the slot.
void removeFromFolder(OpenStore& store, KeySlot slot) {
  const StoreChange change(store);
  change.run([&] {
    ensureRemovable(slot, slotsNow(store), store.folder);
    KeySlots::remove(slot, store.database);
  });
  if (slot == KeySlot::file) store.folder.removeIfThere(keyFile);
  store.database.foldLogSoon();
}

}  // namespace

// The key in the Secret Service goes last too: nobody adds a slot for it before it has gone.
void removeSlot(const KeychainStoreOptions& options, KeySlot slot) {
  const auto store = openWithoutItems(options);
  ensureRemovable(slot, store->slots, store->folder);
  User user(options.passphrase, options.mayPrompt);
  store->openItems(store->slots.without(slot), user);
  const FolderLock turn = store->folder.lockSlots();
  removeFromFolder(*store, slot);
  if (slot == KeySlot::secretService) removeKeyFromService(store->id);
}

void acceptLoss(const KeychainStoreOptions& options) {
  const auto store = openWithLosses(options);
  const FolderLock lock = store->folder.lock();
  const DatabaseUse use;
  if (!store->counter.lost()) return;
  ensure(store->isInPlace(), errSecIO);
  ensure(store->database.isSound(), errSecInvalidKeychain);
  store->counter.acceptLoss(store->transactions);
}

void writeBackup(const KeychainStoreOptions& options, const std::string& file) {
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(file, error);
  ensure(path.has_filename(), errSecParam);
  const auto store = openWithoutItems(options);
  const Data bytes = [&store] {
    const DatabaseUse use;
    return store->database.copy("UPDATE store SET changes = 0");
  }();
  writeNewFile(path, bytes);
}

}  // namespace tarvex
