// A keychain store that has lost its latest changes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/StoreFiles.h"

namespace tarvex {
namespace {

using testing::AnyOf;

const std::string invalid = std::to_string(errSecInvalidKeychain);
const std::string value = " v_Data='";

class Losses : public StoreTest {
 protected:
  // Leaves a folder "kept" as a power failure would: with the items 0 to 3 in the database, then
  // 4 to 7 in the log.
  void SetUp() override {
    for (int i = 0; i < 4; ++i) EXPECT_EQ(WordStore(folder).add(named(i) + value + "v"), 0);
    const WordStore open(folder);
    for (int i = 4; i < 8; ++i) EXPECT_EQ(open.add(named(i) + value + "v"), 0);
    keep();
  }

  // How many of the items are there from the first one on; the others must not be found.
  static int countIn(const WordStore& store) {
    int count = 0;
    while (store.read(named(count)) == "v") ++count;
    for (int i = count; i < 8; ++i) {
      EXPECT_EQ(store.read(named(i)), std::to_string(errSecItemNotFound)) << i;
    }
    return count;
  }
};

struct Loss {
  const char* name;
  const char* commands;  // of the shell, in the folder
  std::optional<std::int64_t> lost;
  int left;  // the items that are there when it is accepted
};

const Loss losses[] = {
    {"nothing", ":", {}, 8},
    {"no log", "rm keychain.db-wal", 4, 4},
    {"empty log", ": >keychain.db-wal", 4, 4},
    {"log without its last byte", "truncate -s -1 keychain.db-wal", 1, 7},
    {"log without its middle", "truncate -s -17000 keychain.db-wal", 2, 6},
    {"first frame damaged", "put 100 keychain.db-wal", 4, 4},
    {"head of the log damaged", "put 4 keychain.db-wal", 4, 4},
    {"last frame damaged", "put $(($(stat -c %s keychain.db-wal) - 9)) keychain.db-wal", 1, 7},
    {"no count", "rm keychain.count", 0, 8},
    {"short count", "truncate -s 15 keychain.count", 0, 8},
    {"empty count", ": >keychain.count", 0, 8},
    {"count of zeros", "head -c 16 /dev/zero >keychain.count", 0, 8},
    {"damaged count", "put 0 keychain.count", 0, 8},
    {"neither log nor count", "rm keychain.db-wal keychain.count", 0, 4},
};

// put OFFSET FILE: writes another byte.
const std::string put =
    "put() { printf '\\245' | dd of=$2 seek=$1 bs=1 conv=notrunc status=none; }; ";

TEST_F(Losses, AreNoticedAndLastUntilTheyAreAccepted) {
  for (const Loss& row : losses) {
    SCOPED_TRACE(row.name);
    root.run("rm -rf keychain copy; cp -a kept keychain; cd keychain; " + put + row.commands);
    const std::string before = snapshot(root);
    const KeychainStore store({.folder = folder});
    if (row.lost) {
      const WordStore open(folder);
      for (int i = 0; i < 8; ++i) EXPECT_EQ(open.read(named(i)), invalid) << i;
      EXPECT_EQ(open.add("genp acct=new"), errSecInvalidKeychain);
      EXPECT_EQ(open.update(named(0), "v_Data='new"), errSecInvalidKeychain);
      EXPECT_EQ(open.remove(named(0)), errSecInvalidKeychain);
      EXPECT_EQ(store.addSlot(KeySlot::passphrase, [] { return "p"; }), errSecInvalidKeychain);
      EXPECT_EQ(store.backup(root / "copy"), errSecInvalidKeychain);
      EXPECT_EQ(store.check(), errSecInvalidKeychain);
      EXPECT_EQ(snapshot(root), before);
    }
    EXPECT_EQ(store.status().answer, row.lost ? errSecInvalidKeychain : errSecSuccess);
    EXPECT_EQ(store.status().lostChanges, row.lost);
    EXPECT_EQ(store.acceptLoss(), errSecSuccess);
    EXPECT_EQ(snapshot(root) != before, row.lost.has_value());
    EXPECT_EQ(countIn(WordStore(folder)), row.left);
    EXPECT_EQ(store.status().lostChanges, std::nullopt);
    for (const char* when : {"first", "second"}) {
      EXPECT_EQ(WordStore(folder).add("genp svce=" + std::string(when)), errSecSuccess);
    }
    EXPECT_EQ(store.check(), errSecSuccess);
    EXPECT_EQ(store.backup(root / "copy"), errSecSuccess);
  }
}

TEST_F(Losses, OfABackupThatWasPutBackAreNoticedToo) {
  EXPECT_EQ(KeychainStore({.folder = folder}).backup(root / "copy"), errSecSuccess);
  root.run(
      "rm -r keychain; mkdir -m 700 keychain; mv copy keychain/keychain.db;"
      "cp -p kept/keychain.key keychain");
  const WordStore open(folder);
  EXPECT_EQ(countIn(open), 8);
  EXPECT_EQ(open.remove(named(7)), errSecSuccess);
  root.run("cp -a keychain cut; rm cut/keychain.db-*");
  EXPECT_EQ(KeychainStore({.folder = root / "cut"}).status().lostChanges, 1);
}

// Makes those who have the store open read the log anew: its index is lost.
const std::string beforeReading =
    "; dd if=/dev/zero of=keychain.db-shm bs=136 count=1 conv=notrunc status=none";

TEST_F(Losses, BeneathAnOpenStoreAreNoticedByIt) {
  for (const char* commands : {"truncate -s 0 *-wal", "truncate -s -1 *-wal", "put 100 *-wal"}) {
    for (const bool isFound : {true, false}) {
      SCOPED_TRACE(commands);
      renew();
      const WordStore open(folder);
      EXPECT_EQ(open.read(named(7)), "v");
      root.run("cd keychain; " + put + commands + beforeReading);
      EXPECT_EQ(open.read(named(isFound ? 0 : 7)), invalid);
      EXPECT_EQ(open.update(named(0), "v_Data='new"), errSecInvalidKeychain);
      EXPECT_EQ(KeychainStore({.folder = folder}).acceptLoss(), errSecSuccess);
      EXPECT_EQ(open.update(named(0), "v_Data='new"), errSecSuccess);
      EXPECT_EQ(WordStore(folder).read(named(0)), "new");
    }
  }
}

TEST_F(Losses, OfTheDatabaseAreRefusedBeforeAnybodyIsAsked) {
  root.run("rm keychain/keychain.db*");
  int asked = 0;
  EXPECT_EQ(WordStore(folder, [&asked] { return ++asked, "p"; }).read("genp"), invalid);
  EXPECT_EQ(asked, 0);
}

// What has become of a store that is open, and how it is mended.
struct Mending {
  const char* name;
  const char* damage;
  std::function<void(const KeychainStore&)> mend;
};

TEST_F(Losses, AreOverWithoutAskingForThePassphraseBefore) {
  addCheapPassphrase(folder);
  EXPECT_EQ(WordStore(folder).remove(named(7)), errSecSuccess);  // and folds the log
  root.run("rm -r kept keychain/keychain.key; cp -a keychain kept");
  const auto accept = [](const KeychainStore& store) { EXPECT_EQ(store.acceptLoss(), 0); };
  const Mending mendings[] = {
      {"accepted here", "truncate -s 0 *-wal", accept},
      {"accepted elsewhere", "truncate -s 0 *-wal",
       [&](const KeychainStore&) {
         inProcesses(1, [&](int) { accept(KeychainStore({.folder = folder})); });
       }},
      {"database put back", "put 20480 keychain.db",
       [this](const KeychainStore&) { root.run("cp kept/keychain.db keychain"); }}};
  for (const Mending& row : mendings) {
    SCOPED_TRACE(row.name);
    renew();
    int asked = 0;
    const WordStore open(folder, [&asked] { return ++asked, "p"; });
    EXPECT_EQ(open.update(named(6), "v_Data='w"), errSecSuccess);
    root.run("cd keychain; " + put + row.damage + beforeReading);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(open.read("genp"), invalid);
    EXPECT_EQ(asked, 1);
    row.mend(open.store);
    EXPECT_THAT(open.read(named(6)), AnyOf("v", "w"));
    EXPECT_EQ(asked, 2);
  }
}

// Without its index being rebuilt: pages that are in memory are still right.
TEST_F(Losses, OfAnOpenLogGiveAnErrorOrWhatWasThere) {
  renew();
  const WordStore open(folder);
  EXPECT_EQ(open.read(named(0)), "v");
  for (const char* size : {"-1", "-17000", "0"}) {
    root.run("truncate -s " + std::string(size) + " keychain/keychain.db-wal");
    for (int i = 0; i < 8; ++i) {
      EXPECT_THAT(open.read(named(i)), AnyOf("v", invalid));
      EXPECT_THAT(WordStore(folder).read(named(i)), AnyOf("v", invalid));
    }
  }
}

}  // namespace
}  // namespace tarvex
