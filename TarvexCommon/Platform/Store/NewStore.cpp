#include "TarvexCommon/Platform/Store/NewStore.h"

#include "TarvexCommon/Platform/Store/ChangeCounter.h"
#include "TarvexCommon/Platform/Store/SealedItems.h"

namespace tarvex {
namespace {

constexpr char unfinishedFile[] = "keychain.db.new";
constexpr const char* tables[] = {storeTable, slotTable, itemTable};

NewSlot preparedSlot(KeySlot kind, const Data& id, User& user) {
  KeySlots::prepare(kind, user);
  return {kind, id, user};
}

// As `KeychainStoreOptions::firstSlot` says.
NewSlot firstSlot(const KeychainStoreOptions& options, const Data& id, User& user) {
  if (options.firstSlot) return preparedSlot(*options.firstSlot, id, user);
  if (options.passphrase) return preparedSlot(KeySlot::passphrase, id, user);
  try {
    return {KeySlot::secretService, id, user};
  } catch (const ItemFailure&) {
    return {KeySlot::file, id, user};
  }
}

// Throws where there is a store, of which the main file is lost.
void ensureNoneIsLost(const StoreFolder& folder) {
  ensure(folder.sizeOf(logFile) == 0 && !folder.has(countFile), errSecInvalidKeychain);
}

void removeUnfinished(const StoreFolder& folder) {
  for (const char* rest : {"", "-wal", "-shm", "-journal"}) {
    folder.removeIfThere(std::string(unfinishedFile) + rest);
  }
}

}  // namespace

std::string storeSchema() {
  std::string schema;
  for (const char* table : tables) schema.append(schema.empty() ? "" : "\n").append(table);
  return schema;
}

bool NewStore::isToBeMade(const StoreFolder& folder) {
  if (folder.has(storeFile)) return false;
  const FolderLock lock = folder.lock();
  if (folder.has(storeFile)) return false;
  ensureNoneIsLost(folder);
  return true;
}

NewStore::NewStore(const KeychainStoreOptions& options, User& user)
    : id_(randomBytes(storeIDSize)), firstSlot_(firstSlot(options, id_, user)) {}

void NewStore::make(const StoreFolder& folder) {
  ensureNoneIsLost(folder);
  removeUnfinished(folder);
  folder.makeEmpty(unfinishedFile);
  try {
    const Database database(folder.pathOf(unfinishedFile));
    fill(database, folder);
    database.foldLog();
  } catch (const ItemFailure&) {
    removeUnfinished(folder);
    throw;
  }
  firstSlot_.keep();  // before: also where the renaming fails the store may be there
  folder.rename(unfinishedFile, storeFile);
}

void NewStore::fill(const Database& database, const StoreFolder& folder) const {
  const TransactionStatements statements(database);
  Transaction transaction(statements);
  database.setFormat(storeFormat);
  for (const char* table : tables) database.run(table);
  database.prepare("INSERT INTO store VALUES (?1, 0)").run(id_);
  KeySlots(database, id_).add(firstSlot_, SealingKey::random(), database, folder);
  transaction.commit();
}

}  // namespace tarvex
