// The keychain store under many processes and threads.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <algorithm>
#include <array>
#include <iostream>

#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/ExampleKey.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/Threads.h"

namespace tarvex {
namespace {

using namespace std::chrono_literals;
using Milliseconds = std::chrono::duration<double, std::milli>;
using std::chrono::steady_clock;
using testing::AnyOf;

using Processes = StoreTest;

const std::string common = "genp acct=common";
const std::string value = " v_Data='";

std::string own(int number) { return "genp svce=own acct=" + std::to_string(number); }

TEST_F(Processes, MakeOneStoreAtOnce) {
  for (int round = 0; round < 10 && !HasFailure(); ++round) {
    inProcesses(8, [&](int number) {
      const WordStore store(folder);
      EXPECT_EQ(store.add(own(number) + value + std::to_string(number)), errSecSuccess);
      EXPECT_TRUE(until([&] { return store.read("genp") == "0 1 2 3 4 5 6 7"; }));
    });
    EXPECT_EQ(root.run("ls keychain"),
              "keychain.count\nkeychain.db\nkeychain.key\nkeychain.lock\n");
    EXPECT_EQ(WordStore(folder).read("genp"), "0 1 2 3 4 5 6 7");
    EXPECT_EQ(WordStore(folder).store.check(), errSecSuccess);
    root.run("rm -r keychain");
  }
}

TEST_F(Processes, LoseNothingThatTheyWrite) {
  struct Outcome {
    int count;
    Milliseconds longest;
  };
  const auto outcomes = shared<Outcome>(8);
  const auto end = steady_clock::now() + (isLong() ? 10s : 2s);
  inProcesses(8, [&](int number) {
    auto& [count, longest] = outcomes[number];
    const WordStore store(folder);
    EXPECT_THAT(store.add(common), AnyOf(errSecSuccess, errSecDuplicateItem));
    ASSERT_EQ(store.add(own(number)), errSecSuccess);
    do {
      const std::string text = std::to_string(number) + ':' + std::to_string(++count);
      for (const std::string& words : {own(number), common}) {
        const auto begin = steady_clock::now();
        ASSERT_EQ(store.update(words, value + text), errSecSuccess);
        longest = std::max(longest, Milliseconds(steady_clock::now() - begin));
      }
      ASSERT_EQ(store.add(own(number + 8)), errSecSuccess);
      ASSERT_EQ(store.remove(own(number + 8)), errSecSuccess);
      ASSERT_EQ(store.read(own(number)), text);
    } while (steady_clock::now() < end);
  });
  const WordStore store(folder);
  std::multiset<std::string> last;
  Milliseconds longest(0);
  for (int number = 0; number < 8; ++number) {
    last.insert(std::to_string(number) + ':' + std::to_string(outcomes[number].count));
    EXPECT_EQ(store.read(own(number)), *last.rbegin());
    longest = std::max(longest, outcomes[number].longest);
  }
  EXPECT_TRUE(last.contains(store.read(common))) << "one item, written last by one of them";
  EXPECT_EQ(store.store.check(), errSecSuccess);
  RecordProperty("longestWriteInMilliseconds", std::to_string(longest.count()));
  std::cout << "longest write: " << longest.count() << " ms\n";
}

TEST_F(Processes, LeaveAStoreThatOpensWhenTheyAreKilledMakingIt) {
  for (int round = 0; round < 60; ++round) {
    const std::string fresh = root / std::to_string(round);
    {
      const Process maker([&] { EXPECT_EQ(WordStore(fresh).add(own(0)), errSecSuccess); });
      std::this_thread::sleep_for(round * 500us);
    }
    EXPECT_EQ(WordStore(fresh).add(own(1)), errSecSuccess) << round;
    EXPECT_EQ(WordStore(fresh).store.check(), errSecSuccess);
  }
}

TEST_F(Processes, FindOneKeyWhenEachMakesIt) {
  const InstalledServices installed(
      {.itemService = KeychainStore({.folder = folder}).itemService()});
  const auto signatures = shared<std::array<std::uint8_t, 64>>(2);
  for (const std::string label : {"a", "b", "c", "d", "e"}) {
    inProcesses(2, [&](int number) {
      Crypto::ECDSA::createKeyPair(label);
      std::ranges::copy(example::loaded(label).createSignature("m"), signatures[number].begin());
    });
    for (const int number : {0, 1}) {
      const Bytes signature = std::span(signatures[number]);
      EXPECT_NO_THROW(example::loaded(label).verifySignature({.msg = "m", .signature = signature}));
    }
  }
}

TEST_F(Processes, UseTheStoreOfTheirParentAlsoWhenItIsClosed) {
  auto store = std::make_unique<WordStore>(folder);
  EXPECT_EQ(store->add(common + value + "v"), errSecSuccess);
  const auto isClosed = shared<std::atomic<bool>>();
  Process child([&] {
    EXPECT_EQ(store->read(common), "v");
    EXPECT_EQ(store->add(own(0) + value + "child"), errSecSuccess);
    EXPECT_TRUE(until([&] { return isClosed[0].load(); }));
    EXPECT_EQ(store->add(own(1) + value + "later"), errSecSuccess);
  });
  EXPECT_TRUE(until([&] { return store->read("genp") == "child v"; }));
  inProcesses(4, [&](int) { store.reset(); });
  EXPECT_EQ(store->update(common, value + "after"), errSecSuccess);
  EXPECT_EQ(store->store.check(), errSecSuccess);
  store.reset();
  isClosed[0] = true;
  EXPECT_TRUE(child.succeeds());
  EXPECT_EQ(WordStore(folder).read("genp"), "after child later");
}

TEST_F(Processes, UseTheStoreThatAThreadUsedWhenTheyWereForked) {
  const WordStore store(folder);
  EXPECT_EQ(store.add(common + value + "v"), errSecSuccess);
  const std::jthread busy([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) (void)store.update(common, value + "v");
  });
  for (int round = 0; round < 20 && !HasFailure(); ++round) {
    inProcesses(1, [&](int) {
      EXPECT_EQ(store.read(common), "v");
      EXPECT_EQ(store.add(own(round)), errSecSuccess);
    });
  }
  EXPECT_EQ(store.store.check(), errSecSuccess);
}

TEST_F(Processes, SeeAFolderThatWasRestored) {
  const WordStore store(folder);
  EXPECT_EQ(store.add(common + value + "old"), errSecSuccess);
  root.run("cp -a keychain copy");
  EXPECT_EQ(store.update(common, value + "new"), errSecSuccess);
  root.run("rm -r keychain; mv copy keychain");
  EXPECT_EQ(store.read(common), "old");
  EXPECT_EQ(store.add(own(0) + value + "added"), errSecSuccess);
  EXPECT_EQ(WordStore(folder).read("genp"), "added old");
  EXPECT_EQ(store.store.check(), errSecSuccess);
}

TEST_F(Processes, GiveUpWaitingForOneThatKeepsTheLock) {
  if (!isLong()) GTEST_SKIP() << "takes ten seconds";
  const WordStore store(folder);
  EXPECT_EQ(store.add(common + value + "v"), errSecSuccess);
  const auto isLocked = shared<std::atomic<bool>>();
  {
    const Process keeper([&] {
      const int lock = ::open((folder + "/keychain.lock").c_str(), O_RDWR);
      isLocked[0] = ::flock(lock, LOCK_EX) == 0;
      ::pause();
    });
    EXPECT_TRUE(until([&] { return isLocked[0].load(); }));
    EXPECT_EQ(store.update(common, value + "new"), errSecIO);
    EXPECT_EQ(store.read(common), "v");
  }
  EXPECT_EQ(store.update(common, value + "new"), errSecSuccess);
}

TEST_F(Processes, ShareTheirServicesBetweenThreads) {
  const WordStore stores[] = {WordStore(folder), WordStore(folder)};
  std::atomic<int> good = 0;
  inThreads(6, [&](int number) {
    for (int i = 0; i < 20; ++i) {
      const std::string words = own(20 * number + i);
      good += stores[number % 2].add(words + value + "v") == errSecSuccess;
      good += stores[i % 2].read(words) == "v";
    }
  });
  EXPECT_EQ(good, 240);
  EXPECT_EQ(stores[0].store.check(), errSecSuccess);
}

// A process that closes a file loses all its locks on it, whoever took them.
TEST_F(Processes, KeepAStoreOpenWhenTheyCloseAnother) {
  const WordStore kept(folder);
  EXPECT_EQ(kept.add(own(0) + value + "kept"), errSecSuccess);
  EXPECT_EQ(WordStore(folder).add(own(1) + value + "closed"), errSecSuccess);
  const auto useAnother = [&](const std::string& before) {
    inProcesses(1, [&](int) {
      EXPECT_EQ(WordStore(folder).read("genp"), before);
      EXPECT_EQ(WordStore(folder).add("genp" + value + "new"), errSecSuccess);
      EXPECT_EQ(WordStore(folder).remove("genp svce="), errSecSuccess);
    });
  };
  useAnother("closed kept");
  EXPECT_EQ(kept.add(own(2) + value + "later"), errSecSuccess);
  useAnother("closed kept later");
  EXPECT_EQ(kept.store.check(), errSecSuccess);
}

}  // namespace
}  // namespace tarvex
