// An SQLite database in which what a transaction wrote is on the disk. Internal.
//
// Every operation throws the status that SQLite's answer comes to, and wants a `DatabaseUse`.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

// While one lives no other thread of the process uses a database, and none forks: SQLite has
// locks inside that a child would inherit and nobody would release. A thread may use
// several databases, but one `DatabaseUse` only. A child process opens databases of its own
// and leaves the objects of its parent alone.
class DatabaseUse {
 public:
  DatabaseUse();

 private:
  std::lock_guard<std::mutex> lock_;
};

// The rows of one run of a statement; when they go, the statement is free for the next.
class Rows {
 public:
  explicit Rows(sqlite3_stmt* statement) noexcept : statement_(statement) {}
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  ~Rows();

  // Goes to the next row, at first to the first one; false when there is none.
  bool next();

  std::int64_t integer(int column) const;
  Bytes bytes(int column) const;  // valid until the next row

 private:
  sqlite3_stmt* statement_;
};

class Statement {
 public:
  Statement(sqlite3* database, std::string_view sql);

  // Returns the rows for the values of ?1, ?2 and so on, integers and bytes, which have to
  // outlive them.
  template <typename... Values>
  Rows rows(const Values&... values) const {
    int index = 0;
    (bind(++index, values), ...);
    return Rows(statement_.get());
  }

  template <typename Value>
  Rows rows(std::span<const Value> values) const {
    int index = 0;
    for (const Value& value : values) bind(++index, value);
    return Rows(statement_.get());
  }

  // Runs a statement that has none.
  template <typename... Values>
  void run(const Values&... values) const {
    rows(values...).next();
  }

 private:
  void bind(int index, std::int64_t value) const;
  void bind(int index, Bytes bytes) const;

  struct Release {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };

  std::unique_ptr<sqlite3_stmt, Release> statement_;
};

class Database {
 public:
  // The marks of an application and of the version of its format.
  struct Format {
    std::int64_t application;
    std::int64_t version;
    friend bool operator==(const Format&, const Format&) = default;
  };

  // Reads the marks of a file without changing it or anything beside it.
  static Format formatOf(const std::string& path);

  // Opens a file that is there; an empty one is an empty database. Others may use it at the
  // same time; it waits 10 seconds for them.
  explicit Database(const std::string& path);

  Format format() const;
  void setFormat(const Format& format) const;

  Statement prepare(std::string_view sql) const { return {database_.get(), sql}; }

  // Runs statements that have no values.
  void run(const char* sql) const;

  // Returns the first value of a query, or an empty one.
  std::int64_t integer(std::string_view sql) const;
  std::string text(std::string_view sql) const;

  // Another number when its content has changed, whoever did it, as far as is known since it
  // was last read.
  std::uint32_t dataVersion() const;

  // Reads the structure of the whole file.
  bool isSound() const;

  // Throws `errSecInvalidKeychain` when a page that was read is not what was written and the
  // structure is damaged: what was read may be wrong, also that something is not there.
  void ensureReadRight() const;

  // Returns the bytes of a file that holds what this one and its log hold now, changed by
  // statements. Throws `errSecInvalidKeychain` when its structure is damaged.
  Data copy(const char* changes) const;

  // Whether closing it may fold the log into the file; at first it may.
  void foldLogOnClose(bool allowed) const;

  // Fold the log into the file: now; if those who read let it within a second; or when it has
  // grown long. For who holds the lock of the writers.
  void foldLog() const;
  void foldLogSoon() const;
  void foldLongLog() const;

 private:
  struct Release {
    void operator()(sqlite3* database) const noexcept;
  };

  Database(const std::string& path, int flags);

  sqlite3_file& file() const;
  void setPatience(std::chrono::milliseconds limit) const;
  Database inMemory() const;

  std::unique_ptr<int> logPages_;  // at an address that stays: SQLite writes to it
  std::unique_ptr<sqlite3, Release> database_;
};

// The statements that begin and end a transaction, prepared once.
class TransactionStatements {
 public:
  explicit TransactionStatements(const Database& database);

 private:
  friend class Transaction;
  Statement begin_;
  Statement commit_;
  Statement rollback_;
};

// Undone unless it is committed.
class Transaction {
 public:
  explicit Transaction(const TransactionStatements& statements);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void commit();

 private:
  const TransactionStatements& statements_;
  bool isOpen_ = true;
};

}  // namespace tarvex
