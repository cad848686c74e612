// A keychain store in a folder of its own, and processes that use it.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <list>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Items.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/TemporaryFolder.h"

// There where it is counted which lines run.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace tarvex {

// The item service of a new store. The function in `add` holds the folder, which is removed with
// the last copy of that function.
inline ItemService temporaryStore() {
  const auto folder = std::make_shared<TemporaryFolder>();
  ItemService items = KeychainStore({.folder = *folder / "keychain"}).itemService();
  items.add = [folder, add = items.add](const auto&... given) { return add(given...); };
  return items;
}

// A store that is asked in words (tests/Support/Items.h).
struct WordStore {
  explicit WordStore(const std::string& directory,
                     const decltype(KeychainStoreOptions::passphrase)& passphrase = {})
      : store({.folder = directory, .passphrase = passphrase}), items(store.itemService()) {}

  OSStatus add(const std::string& words) const { return items.add(item(words), nullptr); }
  OSStatus remove(const std::string& words) const { return items.remove(item(words)); }
  OSStatus update(const std::string& words, const std::string& changes) const {
    return items.update(item(words), item(changes));
  }

  // The values of all that is found, sorted, or the status when it is another.
  std::string read(const std::string& words) const {
    ItemValue found;
    const OSStatus status =
        items.copyMatching(item(words + " m_Limit=m_LimitAll r_Data=true"), &found);
    if (status != errSecSuccess) return std::to_string(status);
    std::multiset<std::string> values;
    for (const ItemValue& each : *found.get<ItemValue::List>()) {
      const auto* all = each.get<ItemDictionary>();
      const ItemValue& value = all == nullptr ? each : all->at(kSecValueData);
      values.emplace(Bytes(*value.get<Data>()).text());
    }
    std::string texts;
    for (const std::string& value : values) texts += (texts.empty() ? "" : " ") + value;
    return texts;
  }

  KeychainStore store;
  ItemService items;
};

struct StoreTest : testing::Test {
  // A password's words, as `WordStore` takes them.
  static std::string named(int number) { return "genp acct=" + std::to_string(number); }

  // Keeps the files as they would be found after a power failure, and puts them back.
  void keep() const { root.run("cp -a keychain kept; rm kept/*-shm"); }
  void renew() const { root.run("rm -rf keychain; cp -a kept keychain"); }

  TemporaryFolder root;
  const std::string folder = root / "keychain";
};

// Returns whether `condition` comes true within a minute.
template <typename Condition>
bool until(const Condition& condition) {
  for (int i = 0; i < 60000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return condition();
}

// Values that this process and its children share, all zero at first.
template <typename Value>
std::shared_ptr<Value[]> shared(std::size_t count = 1) {
  const std::size_t size = count * sizeof(Value);
  void* made = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (made == MAP_FAILED) throw std::bad_alloc();
  return {static_cast<Value*>(made), [size](Value* values) { ::munmap(values, size); }};
}

// A child that runs `work`; killed when it is still there at the end of this.
class Process {
 public:
  template <typename Work>
  explicit Process(const Work& work) {
    std::fflush(nullptr);
    id_ = ::fork();
    if (id_ < 0) throw std::runtime_error("no process");
    if (id_ == 0) run(work);
  }
  ~Process() {
    if (hasEnded_) return;
    ::kill(id_, SIGKILL);
    ::waitpid(id_, nullptr, 0);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Waits for its end; returns whether all that the child expected was so.
  bool succeeds() {
    return until([this] { return hasEnded_ || hasEnded(); }) && status_ == 0;
  }

 private:
  bool hasEnded() { return hasEnded_ = ::waitpid(id_, &status_, WNOHANG) == id_; }

  // What failed here before the fork is no failure of the child.
  template <typename Work>
  [[noreturn]] static void run(const Work& work) noexcept {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const auto* result = testing::UnitTest::GetInstance()->current_test_info()->result();
    const int before = result->total_part_count();
    work();
    std::fflush(nullptr);
    if (__gcov_dump != nullptr) __gcov_dump();
    ::_exit(result->total_part_count() > before ? 1 : 0);
  }

  pid_t id_;
  int status_ = 0;
  bool hasEnded_ = false;
};

// Runs `work` with each number below `count`, in processes of their own that begin at once.
template <typename Work>
void inProcesses(int count, const Work& work) {
  const auto begin = shared<std::atomic<bool>>();
  std::list<Process> processes;
  for (int number = 0; number < count; ++number) {
    processes.emplace_back([&, number] {
      while (!begin[0]) std::this_thread::yield();
      work(number);
    });
  }
  begin[0] = true;
  for (Process& process : processes) EXPECT_TRUE(process.succeeds());
}

}  // namespace tarvex
