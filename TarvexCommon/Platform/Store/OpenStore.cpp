#include "TarvexCommon/Platform/Store/OpenStore.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace tarvex {
namespace {

constexpr char unfinishedFile[] = "keychain.db.new";
constexpr char journalFile[] = "keychain.db-journal";
constexpr std::size_t idSize = 16;

// "TVKC", and the version that is written and the only one that is read.
constexpr Database::Format format = {.application = 0x54564B43, .version = 2};

// The whole schema, as SQLite gives it back.
std::string schema() { return std::string(storeTable) + '\n' + slotTable + '\n' + itemTable; }

constexpr char schemaOfFile[] =
    "SELECT group_concat(sql, char(10)) FROM (SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL)";

void fillStore(const Database& database, const StoreFolder& folder, const Data& id,
               const NewSlot& firstSlot) {
  const TransactionStatements statements(database);
  Transaction transaction(statements);
  database.setFormat(format);
  for (const char* table : {storeTable, slotTable, itemTable}) database.run(table);
  database.prepare("INSERT INTO store VALUES (?1, 0)").run(id);
  KeySlots(database, id).add(firstSlot, SealingKey::random(), database, folder);
  transaction.commit();
}

void removeUnfinished(const StoreFolder& folder) {
  for (const char* rest : {"", "-wal", "-shm", "-journal"}) {
    folder.removeIfThere(std::string(unfinishedFile) + rest);
  }
}

// Throws where there is a store, of which the main file is lost.
void ensureNoneIsLost(const StoreFolder& folder) {
  ensure(folder.sizeOf(logFile) == 0 && !folder.has(countFile), errSecInvalidKeychain);
}

// A new store appears under its name when all of it is on the disk.
void makeStore(const StoreFolder& folder, const Data& id, NewSlot& firstSlot) {
  ensureNoneIsLost(folder);
  removeUnfinished(folder);
  folder.makeEmpty(unfinishedFile);
  try {
    const Database database(folder.pathOf(unfinishedFile));
    fillStore(database, folder, id, firstSlot);
    database.foldLog();
  } catch (const ItemFailure&) {
    removeUnfinished(folder);
    throw;
  }
  firstSlot.keep();  // also where this fails the store may be there
  folder.rename(unfinishedFile, storeFile);
}

// Returns the path of the file when it is a store.
std::string ensuredStore(const StoreFolder& folder) {
  for (const char* name : {storeFile, logFile, logIndexFile, countFile}) folder.ensureUsable(name);
  ensure(folder.sizeOf(journalFile) == 0, errSecInvalidKeychain);  // a store has none
  std::string path = folder.pathOf(storeFile);
  ensure(Database::formatOf(path) == format, errSecInvalidKeychain);
  return path;
}

// Opens the file of a store. Nobody folds its log before the store is open.
Database openFile(const StoreFolder& folder) {
  Database database(ensuredStore(folder));
  database.foldLogOnClose(false);
  ensure(database.format() == format && database.text(schemaOfFile) == schema(),
         errSecInvalidKeychain);
  return database;
}

Data idIn(const Database& database) {
  Data id = toData(Bytes(database.text("SELECT id FROM store")));
  ensure(id.size() == idSize, errSecInvalidKeychain);
  return id;
}

// Opens it after `prepare`. Closing it takes lock and use itself.
template <std::invocable Prepare>
OwnedStore openLocked(const StoreFolder& folder, const Prepare& prepare) {
  const FolderLock lock = folder.lock();
  const DatabaseUse use;
  prepare();
  return OwnedStore(new OpenStore(folder));
}

}  // namespace

OpenStore::OpenStore(StoreFolder itsFolder)
    : folder(std::move(itsFolder)),
      database(openFile(folder)),
      transactions(database),
      counter(folder, database),
      lostChanges(counter.lost()),
      fileIdentity(folder.identityOf(storeFile)),
      id(idIn(database)),
      slots(database, id) {}

bool OpenStore::isInPlace() const { return folder.identityOf(storeFile) == fileIdentity; }

bool isSoundAfter(const OpenStore& store, const ItemFailure& failure) {
  if (failure.status == errSecDecode) return store.database.isSound();
  return statusOf([&store] { store.database.ensureReadRight(); }) == errSecSuccess;
}

SealingKey OpenStore::openItems(const KeySlots& by, User& user) {
  SealingKey master = by.open(folder, user);
  const DatabaseUse use;
  items.emplace(database, master, id);
  return master;
}

namespace {

// Without the master key a store is left as it is; an empty log may go.
bool mayFoldLog(const OpenStore& store) {
  const bool isOpen = store.items.has_value() || store.folder.sizeOf(logFile) == 0;
  return isOpen && store.isInPlace() && !store.isDamaged;
}

std::optional<FolderLock> lockToFold(const OpenStore& store) noexcept {
  try {
    auto lock = store.folder.lock(std::chrono::seconds(1));
    return mayFoldLog(store) ? std::optional(std::move(lock)) : std::nullopt;
  } catch (const ItemFailure&) {  // then the log stays, and is read as before
    return std::nullopt;
  }
}

}  // namespace

void CloseStore::operator()(OpenStore* store) const noexcept {
  const auto lock = lockToFold(*store);
  const DatabaseUse use;
  store->database.foldLogOnClose(lock.has_value());
  delete store;
}

bool hasStore(const KeychainStoreOptions& options) {
  std::error_code error;
  const auto file = std::filesystem::symlink_status(options.folder + '/' + storeFile, error);
  if (file.type() != std::filesystem::file_type::not_found) return true;
  if (std::filesystem::exists(options.folder + '/' + countFile, error)) return true;
  return !std::filesystem::is_empty(options.folder + '/' + logFile, error) && !error;
}

namespace {

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

void ensureSound(const OpenStore& store) {
  const DatabaseUse use;
  ensure(store.database.isSound(), errSecInvalidKeychain);
}

// Returns whether there is none, and none is lost.
bool isToBeMade(const StoreFolder& folder) {
  if (folder.has(storeFile)) return false;
  const FolderLock lock = folder.lock();
  if (folder.has(storeFile)) return false;
  ensureNoneIsLost(folder);
  return true;
}

// Where somebody else makes one meanwhile that one is opened.
OwnedStore makeAndOpen(const StoreFolder& folder, const KeychainStoreOptions& options, User& user) {
  const Data id = randomBytes(idSize);
  NewSlot slot = firstSlot(options, id, user);
  return openLocked(folder, [&] {
    if (!folder.has(storeFile)) makeStore(folder, id, slot);
  });
}

}  // namespace

OwnedStore openStore(const KeychainStoreOptions& options, LookAt first) {
  const StoreFolder folder(options.folder);
  User user(options.passphrase, options.mayPrompt);
  OwnedStore store =
      isToBeMade(folder) ? makeAndOpen(folder, options, user) : openLocked(folder, [] {});
  ensure(!store->isDamaged, errSecInvalidKeychain);
  if (first == LookAt::allOfIt) ensureSound(*store);
  store->openItems(store->slots, user);
  return store;
}

OwnedStore openWithoutItems(const KeychainStoreOptions& options) {
  OwnedStore store = openWithLosses(options);
  ensure(!store->isDamaged, errSecInvalidKeychain);
  return store;
}

OwnedStore openWithLosses(const KeychainStoreOptions& options) {
  ensure(hasStore(options), errSecNotAvailable);
  const StoreFolder folder(options.folder);
  return openLocked(folder, [&folder] { ensure(folder.has(storeFile), errSecInvalidKeychain); });
}

std::int64_t formatVersionIn(const StoreFolder& folder) {
  const auto found = Database::formatOf(folder.pathOf(storeFile));
  return found.application == format.application ? found.version : 0;
}

}  // namespace tarvex
