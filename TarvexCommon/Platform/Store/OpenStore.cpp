#include "TarvexCommon/Platform/Store/OpenStore.h"

#include <string>
#include <utility>

#include "TarvexCommon/Platform/Store/KeySlots.h"

namespace tarvex {
namespace {

constexpr char storeFile[] = "keychain.db";
constexpr char storeLog[] = "keychain.db-wal";
constexpr char unfinishedFile[] = "keychain.db.new";

// "TVKC", and the version that is written and the only one that is read.
constexpr Database::Format format = {.application = 0x54564B43, .version = 1};

constexpr char storeTable[] = "CREATE TABLE store(id BLOB NOT NULL)";

// The whole schema, as SQLite gives it back.
std::string schema() { return std::string(storeTable) + '\n' + slotTable + '\n' + itemTable; }

constexpr char schemaOfFile[] =
    "SELECT group_concat(sql, char(10)) FROM (SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL)";

// A new store appears under its name when all of it is on the disk.
void makeStore(const StoreFolder& folder, Passphrase& passphrase) {
  ensure(folder.sizeOf(storeLog) == 0, errSecInvalidKeychain);  // of a file that is gone
  for (const char* rest : {"", "-wal", "-shm", "-journal"}) {
    folder.removeIfThere(std::string(unfinishedFile) + rest);
  }
  folder.write(unfinishedFile, Data());
  {
    const Database database(folder.pathOf(unfinishedFile));
    const Data id = randomBytes(16);
    const Transactions transactions(database);
    Transaction transaction(transactions);
    database.setFormat(format);
    for (const char* table : {storeTable, slotTable, itemTable}) database.run(table);
    database.prepare("INSERT INTO store VALUES (?1)").finish(id);
    KeySlots::make(database, id, SealingKey::random(), folder, passphrase);
    transaction.commit();
    database.foldLog();
  }
  folder.rename(unfinishedFile, storeFile);
}

// Returns the path of the file when it is a store.
std::string ensuredStore(const StoreFolder& folder) {
  for (const char* rest : {"", "-wal", "-shm"}) (void)folder.has(std::string(storeFile) + rest);
  std::string path = folder.pathOf(storeFile);
  ensure(Database::formatOf(path) == format, errSecInvalidKeychain);
  return path;
}

}  // namespace

OpenStore::OpenStore(StoreFolder itsFolder)
    : folder(std::move(itsFolder)),
      database(ensuredStore(folder)),
      transactions(database),
      identity(folder.identityOf(storeFile)) {
  database.foldLogOnClose(false);
  ensure(database.format() == format && database.text(schemaOfFile) == schema(),
         errSecInvalidKeychain);
  id = toData(Bytes(database.text("SELECT id FROM store")));
}

bool OpenStore::isInPlace() const { return folder.identityOf(storeFile) == identity; }

bool OpenStore::isSound() const { return database.text("PRAGMA integrity_check(1)") == "ok"; }

void CloseStore::operator()(OpenStore* store) const noexcept {
  std::optional<FolderLock> lock;
  bool folds = false;
  try {
    lock.emplace(store->folder.lock());
    const bool isUnlocked = store->items.has_value() || store->folder.sizeOf(storeLog) == 0;
    folds = isUnlocked && store->isInPlace() && !store->isDamaged;
  } catch (const ItemFailure&) {  // then the log stays, and is read as before
  }
  const DatabaseUse use;
  store->database.foldLogOnClose(folds);
  delete store;
}

std::unique_ptr<OpenStore, CloseStore> openStore(const KeychainStoreOptions& options) {
  const StoreFolder folder(options.directory);
  Passphrase passphrase(options.passphrase);
  if (!folder.has(storeFile)) (void)passphrase.text();  // nobody waits for a lock meanwhile
  std::unique_ptr<OpenStore, CloseStore> store;
  std::optional<KeySlots> slots;
  {
    const FolderLock lock = folder.lock();
    const DatabaseUse use;
    if (!folder.has(storeFile)) makeStore(folder, passphrase);
    auto opened = std::make_unique<OpenStore>(folder);
    slots.emplace(opened->database, opened->id);
    store.reset(opened.release());
  }
  const SealingKey master = slots->open(folder, passphrase);
  const DatabaseUse use;
  store->items.emplace(store->database, master, store->id);
  return store;
}

}  // namespace tarvex
