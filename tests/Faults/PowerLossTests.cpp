// A keychain store after the power has failed, at each moment of its writing.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>

#include "tests/Support/FaultyFiles.h"
#include "tests/Support/Random.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// What a disk may hold of a file when the power fails.
class DiskFile {
 public:
  DiskFile() = default;
  explicit DiskFile(std::string content) : synced_(std::move(content)), isThere_(true) {}

  void take(const FileCall& call) {
    if (call.kind != FileCall::sync) return pending_.push_back(call);
    for (const FileCall& change : pending_) apply(change, synced_, [] { return true; });
    pending_.clear();
    isThere_ = true;
  }

  // Returns the content when of what was not synced some sectors got there and some did not;
  // nothing when the file did not.
  std::optional<std::string> remains(Random& random) const {
    if (!isThere_ && random.below(4) == 0) return std::nullopt;
    const std::size_t odds = random.below(4);  // none, some, most, all
    std::string content = synced_;
    for (const FileCall& change : pending_) {
      apply(change, content, [&] { return random.below(3) < odds; });
    }
    return content;
  }

 private:
  template <typename Lasts>
  static void apply(const FileCall& change, std::string& to, const Lasts& lasts) {
    constexpr std::size_t sector = 512;
    const auto at = static_cast<std::size_t>(change.at);
    if (change.kind == FileCall::truncate) {
      if (lasts()) to.resize(at);
      return;
    }
    for (std::size_t i = 0; i < change.bytes.size();) {
      const std::size_t size = std::min(sector - (at + i) % sector, change.bytes.size() - i);
      if (lasts()) {
        to.resize(std::max(to.size(), at + i + size));
        to.replace(at + i, size, change.bytes, i, size);
      }
      i += size;
    }
  }

  std::string synced_;
  std::vector<FileCall> pending_;
  bool isThere_ = false;
};

using Values = std::map<int, std::string>;

// A call of the work that was recorded, and what was so when it came.
struct Moment {
  FileCall call;
  Values acknowledged;
  Values next;  // when what is being done is done
  std::optional<std::string> count;
};

class PowerLoss : public StoreTest {
 protected:
  // Adds, changes and removes items, and opens the store anew now and then.
  void work(int steps) {
    onFileCall() = [this](const FileCall& call) {
      const bool isKept = call.file.ends_with("/keychain.db") || call.file.ends_with("-wal");
      const bool isChange = call.kind == FileCall::write || call.kind == FileCall::sync ||
                            call.kind == FileCall::truncate;
      if (isKept && isChange) remember(call);
      return SQLITE_OK;
    };
    auto store = std::make_unique<WordStore>(folder);
    for (int step = 0; step < steps; ++step) {
      if (step % 12 == 11) store = nullptr, store = std::make_unique<WordStore>(folder);
      change(*store, static_cast<int>(random_.below(6)));
      values_ = next_;
    }
    store = nullptr;
    onFileCall() = {};
  }

  void change(const WordStore& store, int number) {
    const std::string value(random_.below(8) == 0 ? 60000 : random_.below(5000),
                            static_cast<char>('a' + random_.below(26)));
    const bool isThere = values_.contains(number);
    if (isThere && random_.below(3) == 0) {
      next_.erase(number);
      EXPECT_EQ(store.remove(named(number)), errSecSuccess);
      return;
    }
    next_[number] = value;
    const std::string words = "v_Data='" + value;
    EXPECT_EQ(isThere ? store.update(named(number), words) : store.add(named(number) + ' ' + words),
              errSecSuccess);
  }

  void remember(const FileCall& call) {
    const std::string file = folder + "/keychain.count";
    moments_.push_back({.call = call,
                        .acknowledged = values_,
                        .next = next_,
                        .count = fs::exists(file) ? std::optional(contentOf(file)) : std::nullopt});
  }

  // Puts a possible rest of the files into "rest". The count may be any that it has been since it
  // was made, which was made to last.
  void leaveRest(const std::map<std::string, DiskFile>& disk, std::size_t moment) {
    fs::remove_all(root / "rest");
    fs::create_directory(root / "rest");
    fs::permissions(root / "rest", fs::perms::owner_all);
    for (const auto& [name, file] : disk) {
      if (const auto content = file.remains(random_)) put(name, *content);
    }
    put("keychain.key", contentOf(folder + "/keychain.key"));
    if (!moments_[moment].count) return;
    std::size_t since = moment - random_.below(std::min<std::size_t>(moment + 1, 40));
    while (!moments_[since].count) ++since;
    put("keychain.count", *moments_[since].count);
  }

  void put(const std::string& name, const std::string& content) const {
    const fs::path path = root / ("rest/" + name);
    std::ofstream(path, std::ios::binary) << content;
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  }

  void expectWhole(const Moment& moment) const {
    const WordStore store(root / "rest");
    EXPECT_EQ(store.store.status().lostChanges, std::nullopt);
    Values found;
    for (int number = 0; number < 6; ++number) {
      const std::string value = store.read(named(number));
      if (value != std::to_string(errSecItemNotFound)) found[number] = value;
    }
    EXPECT_TRUE(found == moment.acknowledged || found == moment.next);
    EXPECT_EQ(store.store.check(), errSecSuccess);
    EXPECT_EQ(store.add("genp acct=later"), errSecSuccess);
  }

  std::vector<Moment> moments_;
  Values values_;
  Values next_;
  Random random_;
};

TEST_F(PowerLoss, LeavesAllThatWasAcknowledged) {
  EXPECT_EQ(WordStore(folder).read("genp"), std::to_string(errSecItemNotFound));  // makes it
  std::map<std::string, DiskFile> disk;
  disk["keychain.db"] = DiskFile(contentOf(folder + "/keychain.db"));
  work(isTorture() ? 150 : 40);
  for (std::size_t i = 0; i < moments_.size() && !HasFailure(); ++i) {
    SCOPED_TRACE(i);
    const FileCall& call = moments_[i].call;
    disk[fs::path(call.file).filename()].take(call);
    if (call.kind == FileCall::sync) continue;  // the next moment shows what it did
    for (int round = 0; round < (isTorture() ? 6 : 2); ++round) {
      leaveRest(disk, i);
      expectWhole(moments_[i]);
    }
  }
}

}  // namespace
}  // namespace tarvex
