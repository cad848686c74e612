// A keychain store under eight processes, of which one is killed and begins again all the time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>

#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Random.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int writers = 8;
constexpr int usersOfService = 10;

// What is known of an item, whose value is a number, or 0 when it is not there.
struct Entry {
  std::atomic<int> acknowledged;
  std::atomic<int> attempted;
};

struct Journal {
  std::atomic<bool> isOver;
  std::atomic<bool> hasFailed;
  std::atomic<long> operations;
};

struct Migrated {
  int service;
  std::string serviceName() const { return "s" + std::to_string(service); }
  std::string accessGroup() const { return "group"; }
  std::string rawLabel() const { return "load"; }
  std::optional<bool> isSynced() const { return true; }
};

std::string passwordOf(int number) {
  return "genp svce=s" + std::to_string(number / usersOfService) +
         " acct=" + std::to_string(number) + ":load";
}

std::string textOf(int value) {
  return value == 0 ? std::to_string(errSecItemNotFound) : "v" + std::to_string(value);
}

class Load : public StoreTest {
 protected:
  const int items_ = isTorture() ? 10000 : 400;
  const std::shared_ptr<Entry[]> entries_ = shared<Entry>(static_cast<std::size_t>(items_));
  const std::shared_ptr<Journal[]> journal_ = shared<Journal>();

  void fill() {
    const WordStore store(folder);
    for (int i = 0; i < items_; ++i) {
      ASSERT_EQ(store.add(passwordOf(i) + " v_Data='v1"), errSecSuccess);
      entries_[i].acknowledged = entries_[i].attempted = 1;
    }
  }

  // The writer before this one may have been killed on the way from one value to the next.
  void takeOver(const WordStore& store, int number) const {
    Entry& entry = entries_[number];
    if (entry.acknowledged == entry.attempted) return;
    const std::string found = store.read(passwordOf(number) + " sync=syna");
    if (found == textOf(entry.attempted)) entry.acknowledged = entry.attempted.load();
    EXPECT_EQ(found, textOf(entry.acknowledged));
    entry.attempted = entry.acknowledged.load();
  }

  OSStatus set(const WordStore& store, int number, int value) const {
    const std::string data = " v_Data='" + textOf(value);
    const OSStatus status = store.update(passwordOf(number) + " sync=syna", data);
    return status == errSecItemNotFound ? store.add(passwordOf(number) + data) : status;
  }

  void change(const WordStore& store, int number, int value) const {
    Entry& entry = entries_[number];
    const bool isThere = entry.acknowledged != 0;
    entry.attempted = value;
    const OSStatus status =
        value == 0 ? store.remove(passwordOf(number) + " sync=syna") : set(store, number, value);
    EXPECT_EQ(status, value == 0 && !isThere ? errSecItemNotFound : errSecSuccess);
    entry.acknowledged = value;
  }

  void doSomething(const WordStore& store, int number, std::size_t what) const {
    if (what < 8) {
      change(store, number, entries_[number].acknowledged + 1);
    } else if (what < 10) {
      change(store, number, 0);
    } else if (what < 11) {
      EXPECT_TRUE(KeychainPersistence::forceSyncMigration(Migrated{number / usersOfService}));
    } else {
      EXPECT_EQ(store.read(passwordOf(number) + " sync=syna"),
                textOf(entries_[number].acknowledged));
    }
  }

  // Services belong to one writer each: `writer`, `writer` + 8 and so on.
  void work(int writer, int life) const {
    const WordStore store(folder);
    const InstalledServices installed(
        {.bundle = {.identifier = "load", .keychainAccessGroups = {{"group"}}},
         .itemService = store.items});
    const auto isOwn = [&](int number) { return number / usersOfService % writers == writer; };
    for (int number = 0; number < items_; ++number) {
      if (isOwn(number)) takeOver(store, number);
    }
    Random random(static_cast<unsigned>(writer + writers * life));
    while (!journal_[0].isOver) {
      const int number = static_cast<int>(random.below(static_cast<std::size_t>(items_)));
      if (!isOwn(number)) continue;
      doSomething(store, number, random.below(20));
      ++journal_[0].operations;
      if (testing::Test::HasFailure()) journal_[0].hasFailed = true;
      if (journal_[0].hasFailed) return;
    }
  }
};

TEST_F(Load, LosesNothingThatWasAcknowledged) {
  const InstalledServices installed({.bundle = {.keychainAccessGroups = {{"group"}}}});
  fill();
  Random random;
  std::vector<std::unique_ptr<Process>> processes(writers);
  int life = 0;
  const auto start = [&](std::size_t writer) {
    ++life;
    processes[writer].reset();
    processes[writer] = std::make_unique<Process>([&] { work(static_cast<int>(writer), life); });
  };
  for (std::size_t writer = 0; writer < writers; ++writer) start(writer);
  const auto end = steady_clock::now() + (isTorture() ? 60s : 2s);
  while (steady_clock::now() < end && !journal_[0].hasFailed) {
    std::this_thread::sleep_for(isTorture() ? 1000ms : 200ms);
    start(random.below(writers));
  }
  journal_[0].isOver = true;
  for (const auto& process : processes) EXPECT_TRUE(process->succeeds());
  const WordStore store(folder);
  for (int number = 0; number < items_ && !HasFailure(); ++number) {
    SCOPED_TRACE(number);
    takeOver(store, number);
    EXPECT_EQ(store.read(passwordOf(number) + " sync=syna"), textOf(entries_[number].acknowledged));
  }
  EXPECT_EQ(store.store.check(), errSecSuccess);
  EXPECT_FALSE(journal_[0].hasFailed);
  std::cout << journal_[0].operations << " operations, " << life - writers << " kills\n";
}

}  // namespace
}  // namespace tarvex
