// How many changes a store has had, counted in its database and in a file beside it. Internal.
//
// SQLite drops the end of a log that is cut off or damaged, and says nothing. A database that
// counts fewer changes than the file has lost those that it lacks.
//
// The file is written when a change is on the disk, and not waited for: after a power failure it
// may count fewer changes than the database, never more. It comes with the first change: a
// database that counts none, a new one or a backup, needs none.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>

#include "TarvexCommon/Platform/ItemFailure.h"
#include "TarvexCommon/Platform/Store/Database.h"
#include "TarvexCommon/Platform/Store/StoreFolder.h"

namespace tarvex {

// The table of what there is one of. `changes` counts those since it was made.
inline constexpr char storeTable[] =
    "CREATE TABLE store(id BLOB NOT NULL, changes INTEGER NOT NULL)";

// The count in the file: the number and its complement, eight bytes each, big-endian.
class ChangeCountFile {
 public:
  explicit ChangeCountFile(const StoreFolder& folder) : folder_(folder) {}

  struct Count {
    bool isThere = false;
    std::optional<std::int64_t> changes = {};  // nothing when it is damaged

    // Returns how many changes a database lacks that counts `inDatabase`: 0 when nobody knows
    // how many, nothing when it lacks none.
    std::optional<std::int64_t> missingIn(std::int64_t inDatabase) const;
  };

  Count read() const;

  // For who holds the lock of the folder.
  void makeUnlessThere() const;  // on the disk
  void write(std::int64_t changes) const noexcept;

 private:
  const Descriptor* file() const;  // null where there is none

  const StoreFolder& folder_;
  mutable std::optional<Descriptor> file_;
};

// Wants a `DatabaseUse`. Folder and database outlive it.
class ChangeCounter {
 public:
  ChangeCounter(const StoreFolder& folder, const Database& database);

  // Returns how many changes are lost: 0 when nobody knows how many, nothing when none is.
  std::optional<std::int64_t> lost() const { return file_.read().missingIn(inDatabase()); }

  // Runs what reads the database. Throws `errSecInvalidKeychain` when changes are lost, also by
  // then: what was read may be old.
  template <std::invocable Read>
  void whileNoneIsLost(const Read& read) const {
    const auto count = file_.read();  // before the database: others may change both
    read();
    const bool isWhole = !count.missingIn(inDatabase());
    const bool isFirst = !count.isThere && file_.read().isThere;  // the first change, just now
    ensure(isWhole || isFirst, errSecInvalidKeychain);
  }

  // Runs a transaction, for who holds the lock of the folder, and counts it.
  template <std::invocable Change>
  void runCounted(const TransactionStatements& statements, const Change& change) const {
    Transaction transaction(statements);
    ensure(!lost(), errSecInvalidKeychain);
    change();
    const std::int64_t changes = countOneMore(inDatabase());
    transaction.commit();
    file_.write(changes);
  }

  // Counts on from where the file was, if that is known. For who holds the lock of the folder.
  void acceptLoss(const TransactionStatements& statements) const;

 private:
  std::int64_t inDatabase() const;
  std::int64_t countOneMore(std::int64_t before) const;  // returns how many it makes

  ChangeCountFile file_;
  const Database& database_;
  Statement readCount_;
  Statement writeCount_;
  mutable std::optional<std::uint32_t>
      countedVersion_;  // of the database, when `counted_` was read
  mutable std::int64_t counted_ = 0;
};

}  // namespace tarvex
