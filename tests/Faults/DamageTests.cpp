// A keychain store of which single bits are wrong, or whose files end too early.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/Support/Random.h"
#include "tests/Support/Store.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;
using testing::AnyOf;

constexpr int items = 40;

const std::string refusals[] = {std::to_string(errSecDecode), std::to_string(errSecInvalidKeychain),
                                std::to_string(errSecAuthFailed),
                                std::to_string(errSecNotAvailable)};

// From a few bytes to several pages.
std::string valueOf(int number) {
  const std::size_t length = number % 10 == 9 ? 9000 : static_cast<std::size_t>(number) * 7;
  return std::to_string(number) + std::string(length, 'v');
}

class Damage : public StoreTest {
 protected:
  // Leaves "kept" with most of the items in the database and some in the log.
  void SetUp() override {
    {
      const WordStore store(folder);
      for (int i = 0; i < items - 8; ++i) addTo(store, i);
    }
    const WordStore open(folder);
    for (int i = items - 8; i < items; ++i) addTo(open, i);
    keep();
  }

  static void addTo(const WordStore& store, int number) {
    EXPECT_EQ(store.add(named(number) + " v_Data='" + valueOf(number)), errSecSuccess);
  }

  // Returns what it has done.
  std::string damageSomething() {
    constexpr const char* files[] = {"keychain.db",     "keychain.db",  "keychain.db",
                                     "keychain.db-wal", "keychain.key", "keychain.count"};
    const std::string name = files[random_.below(std::size(files))];
    const fs::path file = fs::path(folder) / name;
    const std::size_t at = random_.below(fs::file_size(file));
    if (random_.below(5) == 0) {
      fs::resize_file(file, at);
      return name + " cut at " + std::to_string(at);
    }
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    const int byte = stream.seekg(static_cast<std::streamoff>(at)).get();
    stream.seekp(static_cast<std::streamoff>(at));
    stream.put(static_cast<char>(byte ^ (1 << random_.below(8))));
    return name + " flipped at " + std::to_string(at);
  }

  static void expectNothingWrong(const WordStore& store) {
    std::multiset<std::string> values;
    for (int i = 0; i < items; ++i) {
      values.insert(valueOf(i));
      EXPECT_THAT(store.read(named(i)), AnyOf(valueOf(i), testing::AnyOfArray(refusals))) << i;
    }
    std::string all;
    for (const std::string& value : values) all += (all.empty() ? "" : " ") + value;
    EXPECT_THAT(store.read("genp"), AnyOf(all, testing::AnyOfArray(refusals)));
  }

  Random random_;
};

TEST_F(Damage, OfOneBitOrTheEndNeverMisleads) {
  for (int round = 0; round < (isTorture() ? 1000 : 100) && !HasFailure(); ++round) {
    renew();
    SCOPED_TRACE(damageSomething());
    {
      const WordStore store(folder);
      expectNothingWrong(store);
      const OSStatus added = store.add("genp svce=later");
      EXPECT_THAT(std::to_string(added), AnyOf("0", testing::AnyOfArray(refusals)));
      (void)store.remove("genp svce=later");
      expectNothingWrong(store);
    }
    expectNothingWrong(WordStore(folder));
  }
}

}  // namespace
}  // namespace tarvex
