#include "TarvexCommon/Platform/Store/Database.h"

#include <pthread.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <set>

#include "TarvexCommon/Base/ByteCoding.h"
#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/Linux/Forks.h"
#include "TarvexCommon/Platform/Store/PageChecks.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {
namespace {

// A longer log, in pages, is folded into the file: reading it through is a good part of opening.
constexpr int longLog = 200;

OSStatus statusOfInputOutput(sqlite3* database, OSStatus otherwise) {
  switch (sqlite3_system_errno(database)) {
    case ENOSPC:
    case EDQUOT: return errSecDiskFull;
    case EMFILE:
    case ENFILE: return errSecIO;
    default: return otherwise;
  }
}

// A log or a file that ends too early, or of which a page is not what was written.
bool isDamage(int code) {
  return code == SQLITE_IOERR_SHORT_READ || code == SQLITE_IOERR_DATA ||
         code == SQLITE_IOERR_CORRUPTFS;
}

OSStatus statusOfCode(int code, sqlite3* database) {
  if (isDamage(code)) return errSecInvalidKeychain;
  switch (code & 0xFF) {
    case SQLITE_CONSTRAINT: return errSecDuplicateItem;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR: return errSecInvalidKeychain;  // the statements are right, the schema is not
    case SQLITE_FULL: return errSecDiskFull;
    case SQLITE_NOMEM: return errSecAllocate;
    case SQLITE_READONLY:
    case SQLITE_PERM: return errSecWrPerm;
    case SQLITE_CANTOPEN: return statusOfInputOutput(database, errSecNotAvailable);
    case SQLITE_TOOBIG: return errSecParam;
    default: return statusOfInputOutput(database, errSecIO);
  }
}

void ensureDone(int code, sqlite3* database) {
  if (code != SQLITE_OK) throw ItemFailure{statusOfCode(code, database)};
}

// Every fork waits for it, from the first use on.
std::mutex& useOfDatabases() {
  static std::mutex mutex;
  constexpr auto release = [] { mutex.unlock(); };
  static const int registered = pthread_atfork([] { mutex.lock(); }, release, release);
  (void)registered;
  return mutex;
}

// The open databases of this process.
struct OpenDatabases {
  std::uint64_t fork = forkNumber();
  std::set<sqlite3*> all;
};

OpenDatabases& openDatabases() {
  static auto& databases = *new OpenDatabases;
  return databases;
}

void closeUnchanged(sqlite3* database) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  while (sqlite3_stmt* statement = sqlite3_next_stmt(database, nullptr)) {
    sqlite3_finalize(statement);
  }
  sqlite3_close(database);
}

// Closes what a child process has inherited. While it is open SQLite takes the parent's locks
// on the file for the child's own, and the parent would see the child nowhere.
void closeThoseOfParent() {
  OpenDatabases& databases = openDatabases();
  if (databases.fork == forkNumber()) return;
  for (sqlite3* database : databases.all) closeUnchanged(database);
  databases = {};
}

}  // namespace

DatabaseUse::DatabaseUse() : lock_(useOfDatabases()) {}

Rows::~Rows() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool Rows::next() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  throw ItemFailure{statusOfCode(code, sqlite3_db_handle(statement_))};
}

std::int64_t Rows::integer(int column) const { return sqlite3_column_int64(statement_, column); }

Bytes Rows::bytes(int column) const {
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

Statement::Statement(sqlite3* database, std::string_view sql) {
  sqlite3_stmt* made = nullptr;
  const int code = sqlite3_prepare_v3(database, sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &made, nullptr);
  statement_.reset(made);
  ensureDone(code, database);
}

void Statement::bind(int index, std::int64_t value) const {
  ensureDone(sqlite3_bind_int64(statement_.get(), index, value),
             sqlite3_db_handle(statement_.get()));
}

void Statement::bind(int index, Bytes bytes) const {
  const void* data = bytes.empty() ? "" : static_cast<const void*>(bytes.data());  // not NULL
  ensureDone(sqlite3_bind_blob64(statement_.get(), index, data, bytes.size(), SQLITE_STATIC),
             sqlite3_db_handle(statement_.get()));
}

void Database::Release::operator()(sqlite3* database) const noexcept {
  openDatabases().all.erase(database);
  sqlite3_close_v2(database);
}

Database::Database(const std::string& path, int flags) : logPages_(std::make_unique<int>(0)) {
  closeThoseOfParent();
  sqlite3* made = nullptr;
  const int code = sqlite3_open_v2(
      path.c_str(), &made, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, checkingLayer());
  database_.reset(made);
  ensureDone(code, made);
  openDatabases().all.insert(made);
  sqlite3_extended_result_codes(made, 1);
  setPatience(patience);
}

void Database::setPatience(std::chrono::milliseconds limit) const {
  sqlite3_busy_timeout(database_.get(), static_cast<int>(limit.count()));
}

// What a hostile file could make SQLite do is switched off; sorting happens in memory.
Database::Database(const std::string& path)
    : Database(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW) {
  sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  int reserved = pageCheckSize;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_RESERVE_BYTES, &reserved);
  run("PRAGMA page_size = 4096; PRAGMA cell_size_check = ON; PRAGMA secure_delete = ON; PRAGMA "
      "temp_store = MEMORY;"
      "PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 0;"
      "PRAGMA journal_size_limit = 1048576");
  const auto count = [](void* pages, sqlite3*, const char*, int inLog) {
    *static_cast<int*>(pages) = inLog;
    return SQLITE_OK;
  };
  sqlite3_wal_hook(database_.get(), count, logPages_.get());
}

// A query would look at the log, and refuse a file whose log has not been folded to the end.
Database::Format Database::formatOf(const std::string& path) {
  const Database database(path, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOFOLLOW);
  sqlite3_file& file = database.file();
  std::array<std::uint8_t, 100> header{};
  const int code = file.pMethods->xRead(&file, header.data(), header.size(), 0);
  if (code != SQLITE_IOERR_SHORT_READ) ensureDone(code, database.database_.get());
  const auto numberAt = [&header](std::size_t at) {
    return static_cast<std::int64_t>(fromBigEndian(Bytes(header).subspan(at, 4)));
  };
  const bool hasLog = header[18] == 2 && header[19] == 2;  // no other journal
  return {.application = hasLog ? numberAt(68) : 0, .version = numberAt(60)};
}

Database::Format Database::format() const {
  return {.application = integer("PRAGMA application_id"),
          .version = integer("PRAGMA user_version")};
}

void Database::setFormat(const Format& format) const {
  run(("PRAGMA application_id = " + std::to_string(format.application)).c_str());
  run(("PRAGMA user_version = " + std::to_string(format.version)).c_str());
}

void Database::run(const char* sql) const {
  ensureDone(sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr), database_.get());
}

std::int64_t Database::integer(std::string_view sql) const {
  const Statement statement = prepare(sql);
  Rows row = statement.rows();
  return row.next() ? row.integer(0) : 0;
}

std::string Database::text(std::string_view sql) const {
  const Statement statement = prepare(sql);
  Rows row = statement.rows();
  return row.next() ? std::string(row.bytes(0).text()) : "";
}

std::uint32_t Database::dataVersion() const {
  std::uint32_t version = 0;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_DATA_VERSION, &version);
  return version;
}

sqlite3_file& Database::file() const {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_FILE_POINTER, &file);
  return *file;
}

void Database::ensureReadRight() const {
  if (!takeWrongPageRead(file())) return;
  ensure(isSound(), errSecInvalidKeychain);
  takeWrongPageRead(file());  // those that were read just now
}

// A page that cannot be read is among what it finds, and no damage.
bool Database::isSound() const {
  const std::string found = text("PRAGMA integrity_check(1)");
  constexpr std::string_view mark = "error code=";
  if (const auto at = found.find(mark); at != std::string::npos) {
    int code = SQLITE_CORRUPT;
    std::from_chars(found.data() + at + mark.size(), found.data() + found.size(), code);
    const OSStatus status = statusOfCode(code, database_.get());
    ensure(status == errSecInvalidKeychain, status);
  }
  return found == "ok";
}

// All of it in one step: a reader sees one state, whatever others write meanwhile.
Database Database::inMemory() const {
  Database copy(":memory:", SQLITE_OPEN_READWRITE);
  sqlite3* const to = copy.database_.get();
  sqlite3_backup* const copying = sqlite3_backup_init(to, "main", database_.get(), "main");
  if (copying == nullptr) throw ItemFailure{statusOfCode(sqlite3_errcode(to), to)};
  const int code = sqlite3_backup_step(copying, -1);
  sqlite3_backup_finish(copying);
  if (code != SQLITE_DONE) throw ItemFailure{statusOfCode(code, database_.get())};
  return copy;
}

Data Database::copy(const char* changes) const {
  struct Free {
    void operator()(unsigned char* bytes) const noexcept { sqlite3_free(bytes); }
  };
  sqlite3_int64 size = 0;
  std::unique_ptr<unsigned char, Free> bytes;
  {
    const Database copied = inMemory();
    ensure(copied.isSound(), errSecInvalidKeychain);
    copied.run(changes);
    bytes.reset(sqlite3_serialize(copied.database_.get(), "main", &size, 0));
  }
  ensure(bytes != nullptr, errSecAllocate);
  putPageChecks({bytes.get(), static_cast<std::size_t>(size)});
  return {bytes.get(), bytes.get() + size};
}

void Database::foldLogOnClose(bool allowed) const {
  sqlite3_db_config(database_.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, allowed ? 0 : 1, nullptr);
}

void Database::foldLog() const {
  ensureDone(sqlite3_wal_checkpoint_v2(database_.get(), nullptr, SQLITE_CHECKPOINT_TRUNCATE,
                                       nullptr, nullptr),
             database_.get());
}

// A failure loses nothing: the log is read as before.
void Database::foldLogSoon() const {
  setPatience(std::chrono::seconds(1));
  (void)statusOf([this] { foldLog(); });
  setPatience(patience);
}

void Database::foldLongLog() const {
  if (*logPages_ < longLog) return;
  (void)sqlite3_wal_checkpoint_v2(database_.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr,
                                  nullptr);
}

TransactionStatements::TransactionStatements(const Database& database)
    : begin_(database.prepare("BEGIN IMMEDIATE")),
      commit_(database.prepare("COMMIT")),
      rollback_(database.prepare("ROLLBACK")) {}

Transaction::Transaction(const TransactionStatements& statements) : statements_(statements) {
  statements.begin_.run();
}

void Transaction::commit() {
  statements_.commit_.run();
  isOpen_ = false;
}

Transaction::~Transaction() {
  if (!isOpen_) return;
  try {
    statements_.rollback_.run();
  } catch (const ItemFailure&) {  // SQLite has already undone it
  }
}

}  // namespace tarvex
