// A keychain store on files of which each call fails in turn.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>

#include "tests/Support/FaultyFiles.h"
#include "tests/Support/Store.h"
#include "tests/Support/StoreFiles.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;
using testing::AnyOf;

const std::string absent = std::to_string(errSecItemNotFound);

int errorOf(FileCall::Kind kind) {
  switch (kind) {
    case FileCall::open: return SQLITE_CANTOPEN;
    case FileCall::remove: return SQLITE_IOERR_DELETE;
    case FileCall::access: return SQLITE_IOERR_ACCESS;
    case FileCall::read: return SQLITE_IOERR_READ;
    case FileCall::write: return SQLITE_IOERR_WRITE;
    case FileCall::truncate: return SQLITE_IOERR_TRUNCATE;
    case FileCall::sync: return SQLITE_IOERR_FSYNC;
    case FileCall::size: return SQLITE_IOERR_FSTAT;
    case FileCall::lock: return SQLITE_IOERR_LOCK;
    case FileCall::map: return SQLITE_IOERR_SHMMAP;
    case FileCall::mapLock: return SQLITE_IOERR_SHMLOCK;
  }
  return SQLITE_IOERR;
}

enum class Fault { once, fromThenOn, diskFull };

// While it lives the calls on files fail: that one with the number `first`, and for those that
// last each one behind it; on a full disk only those that write.
class Faults {
 public:
  Faults(Fault fault, int first) {
    onFileCall() = [this, fault, first](const FileCall& call) {
      const bool isFull = fault == Fault::diskFull;
      if (isFull && call.kind != FileCall::write) return SQLITE_OK;
      const bool fails = fault == Fault::once ? count_ == first : count_ >= first;
      ++count_;
      if (!fails) return SQLITE_OK;
      haveHappened = true;
      return isFull ? SQLITE_FULL : errorOf(call.kind);
    };
  }
  ~Faults() { onFileCall() = {}; }
  Faults(const Faults&) = delete;
  Faults& operator=(const Faults&) = delete;

  bool haveHappened = false;

 private:
  int count_ = 0;
};

std::ptrdiff_t openFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

// What is done, what reading then finds of the item "a", and of all.
struct Work {
  const char* name;
  std::function<OSStatus(const WordStore&)> operation;
  std::string value;
  std::string all;
};

const std::string both = "old other";

const Work works[] = {
    {"add", [](const WordStore& store) { return store.add("genp acct=c v_Data='new"); }, "old",
     "new old other"},
    {"update", [](const WordStore& store) { return store.update("genp acct=a", "v_Data='new"); },
     "new", "new other"},
    {"grow",
     [](const WordStore& store) {
       return store.update("genp acct=a", "v_Data='" + std::string(20000, 'n'));
     },
     std::string(20000, 'n'), std::string(20000, 'n') + " other"},
    {"rename", [](const WordStore& store) { return store.update("genp acct=a", "acct=z"); }, absent,
     both},
    {"remove", [](const WordStore& store) { return store.remove("genp acct=a"); }, absent, "other"},
    {"read",
     [](const WordStore& store) {
       const std::string found = store.read("genp");
       return found == both ? errSecSuccess : std::stoi(found);
     },
     "old", both},
    {"check", [](const WordStore& store) { return store.store.check(); }, "old", both},
    {"remove slot",
     [](const WordStore& store) { return store.store.removeSlot(KeySlot::passphrase); }, "old",
     both},
    {"back up",
     [](const WordStore& store) {
       const fs::path copy = fs::path(store.store.status().folder).parent_path() / "copy";
       fs::remove(copy);
       return store.store.backup(copy);
     },
     "old", both},
};

class FileErrors : public StoreTest {
 protected:
  // Leaves "kept" with one item in the database and one in the log.
  void SetUp() override {
    EXPECT_EQ(WordStore(folder).add("genp acct=a v_Data='old"), errSecSuccess);
    addCheapPassphrase(folder);
    const WordStore open(folder);
    EXPECT_EQ(open.add("genp acct=b v_Data='other"), errSecSuccess);
    keep();
  }

  // Either all of it is there or nothing, and what was acknowledged is.
  static void expectWhole(const WordStore& store, const Work& work, bool isDone) {
    const std::string before = "old, all: " + both;
    const std::string after = work.value + ", all: " + work.all;
    const std::string now = store.read("genp acct=a") + ", all: " + store.read("genp");
    EXPECT_THAT(now, AnyOf(after, isDone ? after : before));
  }

  // Returns whether the fault was met.
  bool meets(const Work& work, Fault fault, int first, bool isOpen) const {
    renew();
    OSStatus answer = errSecSuccess;
    bool isMet = false;
    auto used = std::make_unique<WordStore>(folder);
    if (isOpen) used->read("genp");
    {
      const Faults faults(fault, first);
      answer = work.operation(*used);
      isMet = faults.haveHappened;
    }
    EXPECT_THAT(answer, AnyOf(errSecSuccess, errSecIO, errSecDiskFull, errSecNotAvailable));
    expectWhole(*used, work, answer == errSecSuccess);
    {
      const Faults faults(fault, first);  // while it closes
      used.reset();
    }
    const WordStore store(folder);
    expectWhole(store, work, answer == errSecSuccess);
    EXPECT_EQ(store.add("genp acct=later"), errSecSuccess);
    EXPECT_EQ(store.store.check(), errSecSuccess);
    return isMet;
  }
};

TEST_F(FileErrors, LeaveAllOrNothing) {
  const std::ptrdiff_t before = openFiles();
  for (const Work& work : works) {
    for (const bool isOpen : {false, true}) {
      for (const Fault fault : {Fault::once, Fault::fromThenOn, Fault::diskFull}) {
        bool isMet = true;
        for (int first = 0; isMet && !HasFailure(); ++first) {
          SCOPED_TRACE(work.name + std::string(isOpen ? ", open" : "") + ", kind " +
                       std::to_string(static_cast<int>(fault)) + ", call " + std::to_string(first));
          isMet = meets(work, fault, first, isOpen);
        }
      }
    }
  }
  EXPECT_EQ(openFiles(), before);
}

TEST_F(FileErrors, MakeAStoreOrNone) {
  for (const Fault fault : {Fault::once, Fault::fromThenOn, Fault::diskFull}) {
    bool isMet = true;
    for (int first = 0; isMet && !HasFailure(); ++first) {
      SCOPED_TRACE(first);
      fs::remove_all(folder);
      OSStatus answer = errSecSuccess;
      {
        const Faults faults(fault, first);
        answer = WordStore(folder).add("genp acct=a v_Data='v");
        isMet = faults.haveHappened;
      }
      const WordStore store(folder);
      EXPECT_THAT(answer, AnyOf(errSecSuccess, errSecIO, errSecDiskFull, errSecNotAvailable));
      EXPECT_THAT(store.read("genp"), AnyOf("v", answer == errSecSuccess ? "v" : absent));
      EXPECT_EQ(store.add("genp acct=b"), errSecSuccess);
      EXPECT_EQ(store.store.check(), errSecSuccess);
    }
  }
}

}  // namespace
}  // namespace tarvex
