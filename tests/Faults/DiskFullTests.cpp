// A keychain store on a disk without room.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "tests/Support/Processes.h"
#include "tests/Support/Random.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;
using testing::AnyOf;

bool put(const char* file, const std::string& text) {
  std::ofstream stream(file);
  return static_cast<bool>(stream << text << std::flush);
}

// Gives this process a small file system of its own there.
bool mountSmallDisk(const std::string& folder) {
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  return ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && put("/proc/self/setgroups", "deny") &&
         put("/proc/self/uid_map", user + ' ' + user + " 1") &&
         put("/proc/self/gid_map", group + ' ' + group + " 1") && fs::create_directory(folder) &&
         ::mount("small", folder.c_str(), "tmpfs", 0, "size=512k,mode=0700") == 0;
}

class DiskFull : public StoreTest {
 protected:
  // Adds items, longer and shorter ones, until it does not work any more; returns how many.
  int fill(const WordStore& store) {
    lengths_.clear();
    for (int number = 0;; ++number) {
      const std::string value(random_.below(12000), 'v');
      const OSStatus status = store.add(named(number) + " v_Data='" + value);
      if (status == errSecSuccess) {
        lengths_[number] = value.size();
        continue;
      }
      EXPECT_EQ(status, errSecDiskFull);
      return number;
    }
  }

  void expectAll(const WordStore& store) const {
    for (const auto& [number, length] : lengths_) {
      EXPECT_EQ(store.read(named(number)).size(), length) << number;
    }
  }

  void useUp(const std::string& disk) {
    for (int round = 0; round < (isTorture() ? 20 : 4) && !HasFailure(); ++round) {
      SCOPED_TRACE(round);
      fs::remove_all(disk + "/keychain");
      EXPECT_TRUE(put((disk + "/ballast").c_str(), std::string(200000, 'b')));
      const WordStore open(disk + "/keychain");
      const int count = fill(open);
      EXPECT_EQ(open.read(named(count)), std::to_string(errSecItemNotFound));
      expectAll(open);
      EXPECT_THAT(open.update(named(0), "labl=l"), AnyOf(errSecSuccess, errSecDiskFull));
      const OSStatus opened = WordStore(disk + "/keychain").store.check();
      EXPECT_THAT(opened, AnyOf(errSecSuccess, errSecDiskFull));
      fs::remove(disk + "/ballast");
      EXPECT_EQ(open.add("genp svce=room v_Data='v"), errSecSuccess);
      for (const int number : {0, 2, 4}) {
        EXPECT_EQ(open.remove(named(number)), errSecSuccess);
        lengths_.erase(number);
      }
      expectAll(open);
      expectAll(WordStore(disk + "/keychain"));
      EXPECT_EQ(open.store.check(), errSecSuccess);
    }
  }

  std::map<int, std::size_t> lengths_;
  Random random_;
};

TEST_F(DiskFull, RefusesWhatIsNewAndKeepsTheRest) {
  const auto isMounted = shared<bool>();
  inProcesses(1, [&](int) {
    isMounted[0] = mountSmallDisk(root / "disk");
    if (isMounted[0]) useUp(root / "disk");
  });
  if (!isMounted[0]) GTEST_SKIP() << "no file system of one's own may be mounted";
}

}  // namespace
}  // namespace tarvex
