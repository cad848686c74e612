// The keychain that lies on the disk, against itself at another size, and against SQLite
// alone.
//
//   keychain.get.per-second      getItem with 10 items in the store
//   keychain.get.100000/keychain.get.10
//                                its rate with 100,000 items over its rate with 10
//   keychain.set/sqlite.upsert   setItem of an item that is there against a transaction of
//                                SQLite that writes a row of the same size as durably:
//                                above 1 ours is faster
//   keychain.set, sqlite.upsert  the times of both
//   keychain.cold-get.ms         in a new process, from main to an item's value
//   keychain.cold-process.ms     the whole life of that process
//   keychain.migrate.10000/1000  forceSyncMigration, the time of one of 10,000 items over
//                                that of one of 1,000
//   keychain.migrate.1000.per-second, keychain.migrate.10000.per-second
//                                how many of them it migrates

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "benchmarks/Support/Passwords.h"
#include "benchmarks/Support/Process.h"
#include "benchmarks/Support/Program.h"
#include "benchmarks/Support/Rounds.h"

namespace {

using namespace bench;

// A table of SQLite, as durable as the store.
class Peer {
 public:
  explicit Peer(const path& file) {
    check(sqlite3_open(file.c_str(), &database_) == SQLITE_OK);
    for (const char* statement : {"PRAGMA journal_mode = WAL", "PRAGMA synchronous = FULL",
                                  "CREATE TABLE item(name BLOB PRIMARY KEY, sealed BLOB)"}) {
      check(sqlite3_exec(database_, statement, nullptr, nullptr, nullptr) == SQLITE_OK);
    }
    static constexpr std::array texts = {"BEGIN IMMEDIATE",
                                         "INSERT INTO item VALUES (?1, ?2) ON CONFLICT (name) "
                                         "DO UPDATE SET sealed = excluded.sealed",
                                         "COMMIT"};
    for (std::size_t i = 0; i < texts.size(); ++i) {
      check(sqlite3_prepare_v2(database_, texts[i], -1, &transaction_[i], nullptr) == SQLITE_OK);
    }
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;
  ~Peer() {
    for (sqlite3_stmt* statement : transaction_) sqlite3_finalize(statement);
    sqlite3_close(database_);
  }

  void upsert(std::string_view name, const std::string& sealed) {
    sqlite3_stmt* row = transaction_[1];
    sqlite3_bind_blob64(row, 1, name.data(), name.size(), SQLITE_STATIC);
    sqlite3_bind_blob64(row, 2, sealed.data(), sealed.size(), SQLITE_STATIC);
    for (sqlite3_stmt* statement : transaction_) {
      check(sqlite3_step(statement) == SQLITE_DONE);
      sqlite3_reset(statement);
    }
  }

 private:
  sqlite3* database_ = nullptr;
  std::array<sqlite3_stmt*, 3> transaction_{};
};

// What the new process does: prints the nanoseconds since the start of main.
void readCold(const path& folder, Clock::time_point start) {
  use(open(folder));
  check(!Passwords().get(user(0)).empty());
  std::printf("%.0f", Nanoseconds(Clock::now() - start).count());
}

// Returns the time of one item, and leaves all of them as they were.
Nanoseconds measureMigration(const ItemService& items, std::size_t count) {
  use(items);
  const auto start = Clock::now();
  check(tarvex::KeychainPersistence::forceSyncMigration(KeychainItem::password));
  const Nanoseconds time = Clock::now() - start;
  const tarvex::OSStatus status =
      tarvex::SecItemUpdate({{tarvex::kSecClass, tarvex::kSecClassGenericPassword},
                             {tarvex::kSecAttrSynchronizable, true}},
                            {{tarvex::kSecAttrSynchronizable, false}});
  check(status == tarvex::errSecSuccess);
  return time / static_cast<double>(count);
}

void measureReading(int rounds, const path& folder) {
  const ItemService few = open(fill(folder / "10", 10));
  const ItemService many = open(fill(folder / "100000", 100000));
  const std::vector<std::string> fewUsers = shuffledUsers(10);
  const std::vector<std::string> manyUsers = shuffledUsers(100000);
  const Passwords passwords;
  bench::Rounds measured(
      {{"get.10", [&](std::size_t i) { passwords.get(fewUsers[i % 10]); }, [&] { use(few); }},
       {"get.100000", [&](std::size_t i) { passwords.get(manyUsers[i % 100000]); },
        [&] { use(many); }}});
  measured.run(rounds, std::chrono::milliseconds(15));
  measured.reportRate("keychain.get.per-second", "get.10");
  measured.reportRatio("keychain.get.100000/keychain.get.10", "get.100000", "get.10");
}

// A round is so long that both logs are folded into their files in it. Before the first round
// both have been folded once: while a log still grows, a transaction also waits for the
// new length of its file.
void measureWriting(int rounds, const path& folder) {
  use(open(fill(folder / "writing", 10)));
  const std::vector<std::string> users = shuffledUsers(10);
  const Passwords passwords;
  Peer peer(folder / "peer.db");
  const auto set = [&](std::size_t i) { passwords.set(users[i % 10], i); };
  // The lengths of a name and of what else the store has in the row of such a password.
  const auto upsert = [&](std::size_t i) {
    peer.upsert(users[i % 10], std::string(288, static_cast<char>(i)));
  };
  for (std::size_t i = 0; i < writesToFold; ++i) {
    set(i);
    upsert(i);
  }
  bench::Rounds measured({{"keychain.set", set}, {"sqlite.upsert", upsert}});
  measured.run(std::max(11, rounds / 3), std::chrono::milliseconds(100));
  measured.reportRatio("keychain.set/sqlite.upsert", "keychain.set", "sqlite.upsert");
  for (const char* name : {"keychain.set", "sqlite.upsert"}) measured.reportTime(name, name);
}

void measureStarting(int rounds, const path& folder) {
  const path cold = fill(folder / "cold", 10);
  bench::Rounds measured({});
  for (int round = 0; round < rounds; ++round) {
    const bench::Run again = bench::run({"/proc/self/exe", "1", cold});
    measured.add("get", Nanoseconds(std::stod(again.printed)));
    measured.add("process", again.toEnd);
  }
  measured.reportMilliseconds("keychain.cold-get.ms", "get");
  measured.reportMilliseconds("keychain.cold-process.ms", "process");
}

void measureMigrating(int rounds, const path& folder) {
  const ItemService few = open(fill(folder / "1000", 1000));
  const ItemService many = open(fill(folder / "10000", 10000));
  bench::Rounds measured({});
  for (int round = 0; round < std::max(3, rounds / 20); ++round) {
    measured.add("1000", measureMigration(few, 1000));
    measured.add("10000", measureMigration(many, 10000));
  }
  measured.reportRatio("keychain.migrate.10000/1000", "1000", "10000");
  measured.reportRate("keychain.migrate.1000.per-second", "1000");
  measured.reportRate("keychain.migrate.10000.per-second", "10000");
}

void measure(int rounds) {
  const TemporaryFolder folder(placeOnDisk());
  for (const auto part : {measureReading, measureWriting, measureStarting, measureMigrating}) {
    part(rounds, folder.path());
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto start = Clock::now();
  return bench::runProgram(argc, argv, [&](int rounds) {
    if (argc > 2) readCold(argv[2], start);
    else measure(rounds);
  });
}
