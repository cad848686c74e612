#include "TarvexCommon/Platform/Store/OpenStore.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "TarvexCommon/Platform/Store/NewStore.h"

namespace tarvex {
namespace {

constexpr char journalFile[] = "keychain.db-journal";

constexpr char schemaOfFile[] =
    "SELECT group_concat(sql, char(10)) FROM (SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL)";

// Returns the path of the file when it is a store.
std::string ensuredStore(const StoreFolder& folder) {
  for (const char* name : {storeFile, logFile, logIndexFile, countFile}) folder.ensureUsable(name);
  ensure(folder.sizeOf(journalFile) == 0, errSecInvalidKeychain);  // a store has none
  std::string path = folder.pathOf(storeFile);
  ensure(Database::formatOf(path) == storeFormat, errSecInvalidKeychain);
  return path;
}

// Opens the file of a store. Nobody folds its log before the store is open.
Database openFile(const StoreFolder& folder) {
  Database database(ensuredStore(folder));
  database.foldLogOnClose(false);
  ensure(database.format() == storeFormat && database.text(schemaOfFile) == storeSchema(),
         errSecInvalidKeychain);
  return database;
}

Data idIn(const Database& database) {
  Data id = toData(Bytes(database.text("SELECT id FROM store")));
  ensure(id.size() == storeIDSize, errSecInvalidKeychain);
  return id;
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

void ensureSound(const OpenStore& store) {
  const DatabaseUse use;
  ensure(store.database.isSound(), errSecInvalidKeychain);
}

// Opens it after `prepare`. Closing it takes lock and use itself.
template <std::invocable Prepare>
OwnedStore openLocked(const StoreFolder& folder, const Prepare& prepare) {
  const FolderLock lock = folder.lock();
  const DatabaseUse use;
  prepare();
  return OwnedStore(new OpenStore(folder));
}

// Where somebody else has made one meanwhile, that one is opened.
OwnedStore makeAndOpen(const StoreFolder& folder, const KeychainStoreOptions& options, User& user) {
  NewStore store(options, user);
  return openLocked(folder, [&] {
    if (!folder.has(storeFile)) store.make(folder);
  });
}

}  // namespace

OwnedStore openStore(const KeychainStoreOptions& options, LookAt first) {
  const StoreFolder folder(options.folder);
  User user(options.passphrase, options.mayPrompt);
  OwnedStore store =
      NewStore::isToBeMade(folder) ? makeAndOpen(folder, options, user) : openLocked(folder, [] {});
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
  return found.application == storeFormat.application ? found.version : 0;
}

}  // namespace tarvex
