// What an administrator does with a keychain store.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <functional>

#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Hex.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/StoreFiles.h"

namespace tarvex {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;
using Operation = std::function<OSStatus(const KeychainStore&)>;

const std::string mute = std::to_string(errSecInteractionNotAllowed);
const std::string wrong = std::to_string(errSecAuthFailed);

Operation add(KeySlot slot, const std::optional<std::string>& passphrase = {}) {
  return [=](const KeychainStore& store) { return store.addSlot(slot, say(passphrase)); };
}

Operation change(const std::optional<std::string>& passphrase) {
  return [=](const KeychainStore& store) { return store.changePassphrase(say(passphrase)); };
}

Operation removal(KeySlot slot) {
  return [=](const KeychainStore& store) { return store.removeSlot(slot); };
}

class Administration : public StoreTest {
 protected:
  // Makes a store that has the value "v" and opens by its key file and by the passphrase "p".
  void makeStore() const {
    EXPECT_EQ(WordStore(folder).add("genp v_Data='v"), errSecSuccess);
    addCheapPassphrase(folder);
  }

  void removeFileSlot() const {
    sql(folder + "/keychain.db", "delete from slot where kind = 'file'");
    root.run("rm keychain/keychain.key");
  }

  std::string readBy(const std::optional<std::string>& passphrase) const {
    return WordStore(folder, say(passphrase)).read("genp");
  }
};

struct Step {
  const char* name;
  const char* commands;              // of the shell, in the folder
  std::optional<std::string> given;  // the passphrase, when it is asked for
  Operation operation;
  OSStatus answer;
  std::string slots;  // afterwards
};

const Step steps[] = {
    {"passphrase is there", ":", {}, add(KeySlot::passphrase, "q"), errSecDuplicateItem, "fp"},
    {"file is there", ":", {}, add(KeySlot::file), errSecDuplicateItem, "fp"},
    {"nothing instead", ":", "p", change({}), errSecInteractionNotAllowed, "fp"},
    {"none given", ":", {}, removal(KeySlot::file), errSecInteractionNotAllowed, "fp"},
    {"wrong one given", ":", "q", removal(KeySlot::file), errSecAuthFailed, "fp"},
    {"file goes", ":", "p", removal(KeySlot::file), errSecSuccess, "p"},
    {"no file", "test ! -e keychain.key || echo there", "p", removal(KeySlot::file),
     errSecItemNotFound, "p"},
    {"last passphrase", ":", "p", removal(KeySlot::passphrase), errSecParam, "p"},
    {"change, none given", ":", {}, change("q"), errSecInteractionNotAllowed, "p"},
    {"change, wrong one given", ":", "q", change("q"), errSecAuthFailed, "p"},
    {"file, wrong one given", ":", "q", add(KeySlot::file), errSecAuthFailed, "p"},
    {"linked key file", "ln -s k keychain.key", "p", add(KeySlot::file), errSecNotAvailable, "p"},
    {"file of another kind", "rm keychain.key; head -c 31 /dev/zero >keychain.key; chmod 600 *",
     "p", add(KeySlot::file), errSecAuthFailed, "p"},
    {"rest of a key file", ":", "p", removal(KeySlot::file), errSecSuccess, "p"},
    {"file comes", "test ! -e keychain.key || echo there", "p", add(KeySlot::file), errSecSuccess,
     "fp"},
    {"lost key file", "mv keychain.key k", "p", add(KeySlot::file), errSecDuplicateItem, "fp"},
    {"it goes", ":", "p", removal(KeySlot::file), errSecSuccess, "p"},
    {"it is found, and used", "cp -p k keychain.key", "p", add(KeySlot::file), errSecSuccess, "fp"},
    {"passphrase goes",
     "cmp k keychain.key; rm k",
     {},
     removal(KeySlot::passphrase),
     errSecSuccess,
     "f"},
    {"no passphrase", ":", {}, removal(KeySlot::passphrase), errSecItemNotFound, "f"},
    {"no passphrase to change", ":", {}, change("q"), errSecItemNotFound, "f"},
    {"last file", ":", {}, removal(KeySlot::file), errSecParam, "f"},
    {"no passphrase given", ":", {}, add(KeySlot::passphrase), errSecInteractionNotAllowed, "f"},
    {"empty one given", ":", {}, add(KeySlot::passphrase, ""), errSecInteractionNotAllowed, "f"},
};

TEST_F(Administration, ChangesSlotsOrLeavesAllAsItIs) {
  makeStore();
  const std::string wrapped =
      sql(folder + "/keychain.db", "select hex(wrapped) from slot where kind = 'passphrase'");
  const WordStore open(folder);
  EXPECT_EQ(open.read("genp"), "v");
  for (const Step& row : steps) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(root.run("cd keychain; " + std::string(row.commands)), "");
    const std::string before = snapshot(root);
    const KeychainStore store({.folder = folder, .passphrase = say(row.given)});
    EXPECT_EQ(row.operation(store), row.answer);
    EXPECT_EQ(slotsOf(store), row.slots);
    EXPECT_EQ(snapshot(root) == before, row.answer != errSecSuccess);
  }
  EXPECT_EQ(
      root.run("ls keychain; stat -c %a keychain/keychain.key"),
      "keychain.count\nkeychain.db\nkeychain.db-shm\nkeychain.db-wal\nkeychain.key\nkeychain.lock\n"
      "keychain.slots\n600\n");
  EXPECT_THAT(root.run("cat keychain/*"),
              Not(HasSubstr(std::string(Bytes(fromHex(wrapped)).text()))));
  EXPECT_EQ(open.update("genp", "v_Data='new"), errSecSuccess);
  EXPECT_EQ(readBy({}), "new");
  EXPECT_EQ(open.store.check(), errSecSuccess);
}

TEST_F(Administration, GivesAPassphraseAndAnotherOne) {
  EXPECT_EQ(WordStore(folder).add("genp v_Data='v"), errSecSuccess);
  int asked = 0;
  const auto ask = [&asked] { return ++asked, "\u00E9"; };
  const KeychainStore store({.folder = folder, .passphrase = ask});
  EXPECT_EQ(store.addSlot(KeySlot::passphrase, ask), errSecSuccess);
  EXPECT_EQ(asked, 1) << "the new one";
  EXPECT_EQ(readBy({}), "v");
  EXPECT_EQ(store.removeSlot(KeySlot::file), errSecSuccess);
  EXPECT_EQ(asked, 2);
  EXPECT_EQ(readBy({}), mute);
  EXPECT_EQ(store.changePassphrase(say("new")), errSecSuccess);
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(readBy("e\u0301"), wrong);
  EXPECT_EQ(readBy("new"), "v");
}

TEST_F(Administration, MakesNoStore) {
  const Operation operations[] = {
      add(KeySlot::file), change("p"), removal(KeySlot::file),
      [](const KeychainStore& store) { return store.check(); },
      [this](const KeychainStore& store) { return store.backup(root / "copy"); }};
  for (const char* commands : {":", "mkdir -m 700 keychain", ": >keychain/keychain.db-wal"}) {
    root.run(commands);
    const std::string before = snapshot(root);
    const KeychainStore store({.folder = folder});
    for (const Operation& operation : operations) EXPECT_EQ(operation(store), errSecNotAvailable);
    EXPECT_FALSE(store.status().isThere);
    EXPECT_EQ(store.status().answer, errSecSuccess);
    EXPECT_EQ(store.status().folder, folder);
    EXPECT_EQ(snapshot(root), before);
  }
}

// What is done with a store of two slots and one item, by the shell, then by SQL, and what it
// then says.
struct Telling {
  const char* name;
  const char* commands;
  const char* statements;
  OSStatus answer;
  std::int64_t formatVersion;
  std::int64_t itemCount = 0;
  const char* slots = "";
};

const Telling tellings[] = {
    {"sound", ":", "", errSecSuccess, 2, 1, "fp"},
    {"without key file", "rm keychain.key", "", errSecSuccess, 2, 1, "fp"},
    {"by passphrase", ":", "delete from slot where kind = 'file'", errSecSuccess, 2, 1, "p"},
    {"with a slot of a later time", ":", "update slot set kind = 'other' where kind = 'file'",
     errSecSuccess, 2, 1, "p"},
    {"newer format", ":", "pragma user_version = 3", errSecInvalidKeychain, 3},
    {"other application", ":", "pragma application_id = 2", errSecInvalidKeychain, 0},
    {"text", "yes text | head -c 9000 >keychain.db", "", errSecInvalidKeychain, 0},
    {"half of it", "truncate -s 6000 keychain.db", "", errSecInvalidKeychain, 2},
    {"log without database", "mv keychain.db keychain.db-wal", "", errSecInvalidKeychain, 0},
    {"readable by others", "chmod 644 keychain.db", "", errSecNotAvailable, 0},
};

TEST_F(Administration, SaysWhatIsThereWithoutAnyKey) {
  for (const Telling& row : tellings) {
    SCOPED_TRACE(row.name);
    makeStore();
    root.run("cd keychain; " + std::string(row.commands));
    if (*row.statements != 0) sql(folder + "/keychain.db", row.statements);
    const std::string before = snapshot(root);
    const std::string bytes = root.run("cat keychain/*.db keychain/*-wal 2>&- | wc -c");
    const auto nobody = []() -> std::string { throw std::logic_error("asked"); };
    const KeychainStore store({.folder = folder, .passphrase = nobody});
    const KeychainStoreStatus status = store.status();
    EXPECT_EQ(status.answer, row.answer);
    EXPECT_TRUE(status.isThere);
    EXPECT_EQ(std::to_string(status.bytes) + '\n', bytes);
    EXPECT_EQ(status.formatVersion, row.formatVersion);
    EXPECT_EQ(status.itemCount, row.itemCount);
    EXPECT_EQ(slotsOf(store), row.slots);
    EXPECT_EQ(snapshot(root), before);
    root.run("rm -r keychain");
  }
}

// Runs `work` in a child that is killed where it is about to write to the disk and has done so
// `count` times. Returns whether it got there.
template <typename Work>
bool isKilledAfterWriting(int count, const Work& work) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0) ::raise(SIGSTOP);
    work();
    ::_exit(0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
  while (::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr) == 0 &&
         ::waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
    __ptrace_syscall_info call = {};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
    const std::uint64_t writing[] = {SYS_write, SYS_pwrite64, SYS_ftruncate, SYS_fsync,
                                     SYS_fdatasync};
    const bool isWriting =
        call.op == PTRACE_SYSCALL_INFO_ENTRY && std::ranges::count(writing, call.entry.nr) > 0;
    if (!isWriting || count-- > 0) continue;
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    return true;
  }
  return false;
}

// What is done with a store of the slots `before`.
struct Cut {
  const char* name;
  std::string before;
  std::optional<std::string> given;
  Operation operation;
  OSStatus again;  // what it answers when it has been done
  std::string after;
};

const Cut cuts[] = {
    {"add file", "p", "p", add(KeySlot::file), errSecDuplicateItem, "fp"},
    {"remove file", "fp", "p", removal(KeySlot::file), errSecItemNotFound, "p"},
    {"remove passphrase", "fp", {}, removal(KeySlot::passphrase), errSecItemNotFound, "f"},
};

TEST_F(Administration, LeavesAStoreThatOpensWhenItIsKilled) {
  if (!isKilledAfterWriting(0, [] { ::fsync(-1); })) GTEST_SKIP() << "no process may be traced";
  for (const Cut& row : cuts) {
    bool isKilled = true;
    int count = 0;
    for (; isKilled && !HasFailure(); ++count) {
      SCOPED_TRACE(row.name + std::string(" after writing ") + std::to_string(count));
      makeStore();
      if (row.before == "p") removeFileSlot();
      const KeychainStore store({.folder = folder, .passphrase = say(row.given)});
      isKilled = isKilledAfterWriting(count, [&] { (void)row.operation(store); });
      EXPECT_EQ(readBy("p"), "v");
      EXPECT_THAT(row.operation(store), AnyOf(isKilled ? errSecSuccess : row.again, row.again));
      EXPECT_EQ(slotsOf(store), row.after);
      EXPECT_EQ(root.run("cd keychain; ls | grep key$"), row.after == "p" ? "" : "keychain.key\n");
      EXPECT_EQ(readBy(row.given), "v");
      EXPECT_EQ(store.check(), errSecSuccess);
      root.run("rm -r keychain");
    }
    EXPECT_GT(count, 20) << row.name;
  }
}

// About where the change takes place: each new passphrase takes its time.
TEST_F(Administration, HasThePassphraseOrTheNextOneWhenItIsKilled) {
  if (!isKilledAfterWriting(0, [] { ::fsync(-1); })) GTEST_SKIP() << "no process may be traced";
  for (const int count : {12, 14, 15, 16}) {
    makeStore();
    removeFileSlot();
    const KeychainStore store({.folder = folder, .passphrase = say("p")});
    EXPECT_TRUE(isKilledAfterWriting(count, [&] { (void)store.changePassphrase(say("p")); }));
    EXPECT_EQ(store.check(), errSecSuccess) << count;
    EXPECT_EQ(slotsOf(store), "p") << count;
    root.run("rm -r keychain");
  }
}

// The last slot stays, whoever is faster.
TEST_F(Administration, OfManyProcessesChangesASlotOnce) {
  makeStore();
  root.run("mv keychain whole");
  for (int round = 0; round < 10 && !HasFailure(); ++round) {
    root.run("rm -rf keychain; cp -a whole keychain");
    const auto answers = shared<OSStatus>(3);
    const KeychainStore store({.folder = folder, .passphrase = say("p")});
    inProcesses(2, [&](int number) {
      answers[number] = store.removeSlot(number == 0 ? KeySlot::file : KeySlot::passphrase);
    });
    EXPECT_NE(answers[0] == errSecSuccess, answers[1] == errSecSuccess);
    EXPECT_EQ(readBy("p"), "v");
    root.run("rm -rf keychain; cp -a whole keychain");
    EXPECT_EQ(store.removeSlot(KeySlot::file), errSecSuccess);
    inProcesses(3, [&](int number) { answers[number] = store.addSlot(KeySlot::file); });
    EXPECT_EQ(std::count(&answers[0], &answers[3], errSecSuccess), 1);
    EXPECT_EQ(std::count(&answers[0], &answers[3], errSecDuplicateItem), 2);
    EXPECT_EQ(readBy({}), "v");
  }
}

// Files may grow to `limit` bytes only.
struct Shortage {
  const char* name;
  rlim_t limit;
  bool hasFileSlot;
  Operation operation;
};

TEST_F(Administration, LeavesAllAsItIsWhenTheDiskFails) {
  const Operation backup = [this](const KeychainStore& store) {
    return store.backup(root / "copy");
  };
  const Shortage shortages[] = {
      {"no room for the key", 1, false, add(KeySlot::file)},
      {"no room for the slot", 100, false, add(KeySlot::file)},
      {"no room to remove the file", 100, true, removal(KeySlot::file)},
      {"no room for the copy", 9000, true, backup},
  };
  for (const Shortage& row : shortages) {
    SCOPED_TRACE(row.name);
    makeStore();
    if (!row.hasFileSlot) removeFileSlot();
    const WordStore open(folder, say("p"));
    EXPECT_EQ(open.read("genp"), "v");
    const auto state = [&] {
      return slotsOf(open.store) +
             root.run(
                 "ls -I keychain.slots . keychain; cat keychain/*.db keychain/*.key 2>&- | cksum");
    };
    const std::string before = state();
    inProcesses(1, [&](int) {
      const rlimit limit = {.rlim_cur = row.limit, .rlim_max = row.limit};
      ::signal(SIGXFSZ, SIG_IGN);
      ::setrlimit(RLIMIT_FSIZE, &limit);
      const KeychainStore store({.folder = folder, .passphrase = say("p")});
      EXPECT_THAT(row.operation(store), AnyOf(errSecIO, errSecDiskFull));
    });
    EXPECT_EQ(state(), before);
    root.run("rm -r keychain");
  }
}

class Backup : public Administration {
 protected:
  // Puts the copy in place of a store in a new folder, beside the key file, and removes it.
  KeychainStore restored() const {
    root.run(
        "rm -rf restored; mkdir -m 700 restored; mv copy restored/keychain.db;"
        "cp -p keychain/keychain.key restored");
    return KeychainStore({.folder = root / "restored"});
  }

  const std::string copy = root / "copy";
};

TEST_F(Backup, IsOneStateWhileOthersWrite) {
  EXPECT_EQ(WordStore(folder).add("genp svce=first"), errSecSuccess);
  const auto own = [](std::int64_t number) { return "genp acct=" + std::to_string(number); };
  const auto written = shared<std::atomic<int>>();
  const Process writer([&] {
    const WordStore store(folder);
    for (auto& number = written[0];; ++number) {
      const std::string value =
          " v_Data='v" + std::string(static_cast<std::size_t>(number % 300), '.');
      ASSERT_EQ(store.add(own(number) + value), errSecSuccess);
    }
  });
  for (int round = 0; round < (isLong() ? 50 : 5) && !HasFailure(); ++round) {
    EXPECT_TRUE(until([&] { return written[0] > 50 * round; }));
    const int before = written[0];
    ASSERT_EQ(KeychainStore({.folder = folder}).backup(copy), errSecSuccess);
    const int after = written[0];
    const KeychainStore store = restored();
    const std::int64_t count = store.status().itemCount - 1;
    EXPECT_GE(count, before);
    EXPECT_LE(count, after + 1);
    EXPECT_THAT(WordStore(root / "restored").read(own(count - 1)), HasSubstr("v"));
    EXPECT_EQ(WordStore(root / "restored").read(own(count)), std::to_string(errSecItemNotFound));
    EXPECT_EQ(store.check(), errSecSuccess);
  }
}

TEST_F(Backup, IsOneFileForItsOwnerWithTheSlotsOfThatTime) {
  makeStore();
  const WordStore open(folder);
  EXPECT_EQ(open.update("genp", "v_Data='logged"), errSecSuccess);
  inProcesses(1, [this](int) {
    ::umask(0);
    const auto nobody = []() -> std::string { throw std::logic_error("asked"); };
    const KeychainStore store({.folder = folder, .passphrase = nobody});
    EXPECT_EQ(store.backup(copy), errSecSuccess);
  });
  EXPECT_EQ(root.run("ls; stat -c %a copy"), "copy\nkeychain\n600\n");
  EXPECT_EQ(open.update("genp", "v_Data='new"), errSecSuccess);
  EXPECT_EQ(open.store.removeSlot(KeySlot::passphrase), errSecSuccess);
  EXPECT_EQ(slotsOf(restored()), "fp");
  EXPECT_EQ(WordStore(root / "restored").read("genp"), "logged");
  root.run("rm restored/keychain.key");
  const WordStore byPassphrase(root / "restored", say("p"));
  EXPECT_EQ(byPassphrase.update("genp", "v_Data='written"), errSecSuccess);
  EXPECT_EQ(byPassphrase.read("genp"), "written");
}

TEST_F(Backup, ReplacesNothing) {
  makeStore();
  root.run("echo text >file; mkdir folder; ln -s nowhere link; mkdir -m 700 other");
  const std::string before = snapshot(root);
  const KeychainStore store({.folder = folder});
  for (const auto& [name, answer] : {std::pair("file", errSecDuplicateItem),
                                     {"folder", errSecDuplicateItem},
                                     {"link", errSecDuplicateItem},
                                     {"keychain/keychain.db", errSecDuplicateItem},
                                     {"other/", errSecParam},
                                     {"nowhere/copy", errSecNotAvailable},
                                     {"file/copy", errSecNotAvailable}}) {
    EXPECT_EQ(store.backup(root / name), answer) << name;
  }
  EXPECT_EQ(store.backup(""), errSecParam);
  EXPECT_EQ(snapshot(root), before);
  const auto answers = shared<OSStatus>(4);
  inProcesses(4, [&](int number) { answers[number] = store.backup(copy); });
  EXPECT_EQ(std::count(&answers[0], &answers[4], errSecSuccess), 1);
  EXPECT_EQ(std::count(&answers[0], &answers[4], errSecDuplicateItem), 3);
}

TEST_F(Backup, IsAllThereOrNotAtAllWhenItIsKilled) {
  if (!isKilledAfterWriting(0, [] { ::fsync(-1); })) GTEST_SKIP() << "no process may be traced";
  makeStore();
  const KeychainStore store({.folder = folder});
  bool isKilled = true;
  int count = 0;
  for (; isKilled && !HasFailure(); ++count) {
    SCOPED_TRACE(count);
    isKilled = isKilledAfterWriting(count, [&] { (void)store.backup(copy); });
    EXPECT_THAT(store.backup(copy), AnyOf(errSecSuccess, errSecDuplicateItem));
    EXPECT_EQ(restored().check(), errSecSuccess);
  }
  EXPECT_GT(count, 3);
}

TEST_F(Backup, OfADamagedStoreIsRefused) {
  for (int i = 10; i < 50; ++i) {
    EXPECT_EQ(WordStore(folder).add("genp acct=" + std::to_string(i) + " v_Data='" +
                                    std::string(300, 'v')),
              errSecSuccess);
  }
  const std::string page = "dd of=keychain/keychain.db bs=4096 count=1 conv=notrunc status=none";
  const int pages = std::stoi(root.run("stat -c %s keychain/keychain.db")) / 4096;
  EXPECT_GT(pages, 5);
  root.run("mv keychain whole");
  for (int number = 0; number <= pages; ++number) {
    root.run("rm -rf keychain; cp -a whole keychain");
    if (number == pages) root.run("truncate -s 12288 keychain/keychain.db");
    if (number < pages) root.run("yes | " + page + " seek=" + std::to_string(number));
    EXPECT_EQ(KeychainStore({.folder = folder}).backup(copy), errSecInvalidKeychain) << number;
    EXPECT_EQ(root.run("ls"), "keychain\nwhole\n");
  }
}

}  // namespace
}  // namespace tarvex
