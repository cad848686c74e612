// Passwords of the catalogue in stores of many sizes.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <string>
#include <system_error>
#include <vector>

#include "TarvexCommon/Keychain/Keychain.h"
#include "TarvexCommon/Keychain/KeychainIdentifiers.h"
#include "TarvexCommon/Keychain/KeychainItem.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Memory/RecordingLog.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "benchmarks/Support/Check.h"
#include "tests/Support/TemporaryFolder.h"

namespace bench {

using std::filesystem::path;
using tarvex::ItemService;
using tarvex::Keychain;
using tarvex::KeychainItem;
using tarvex::TemporaryFolder;

// Puts the items in use, and lets go of those that were.
inline void use(const ItemService& items) {
  tarvex::installServices({.bundle = {.identifier = "com.example.benchmark",
                                      .infoDictionary = {{"TeamIDPrefix", "ABCDE12345."}}},
                           .log = tarvex::RecordingLog().sink(),
                           .itemService = items});
}

inline ItemService open(const path& folder) {
  return tarvex::KeychainStore({.folder = folder, .firstSlot = tarvex::KeySlot::file})
      .itemService();
}

inline std::string secret(std::size_t version) {
  return "password number " + std::to_string(1000000 + version);
}

// Passwords of the catalogue that are not synchronised yet.
class Passwords {
 public:
  void set(const std::string& user, std::size_t version) const {
    keychain_.setItem({.valueData = secret(version),
                       .user = user,
                       .label = label_,
                       .synced = std::nullopt,
                       .accessibility = tarvex::kSecAttrAccessibleAfterFirstUnlock});
  }

  std::string get(const std::string& user) const {
    return keychain_.getItem({.secretID = user, .label = label_, .synced = std::nullopt});
  }

 private:
  Keychain keychain_{{.service = KeychainItem::password.serviceName(),
                      .access = KeychainItem::password.accessGroup()}};
  std::string label_ = KeychainItem::password.rawLabel();
};

inline std::string user(std::size_t number) {
  return "user-" + std::to_string(1000000 + number) + "@example.com";
}

// So many writes fold the log of a store, which does not grow any more from then on.
constexpr std::size_t writesToFold = 1100;

// The first `count` users, shuffled the same way in every run.
inline std::vector<std::string> shuffledUsers(std::size_t count) {
  std::vector<std::string> users;
  for (std::size_t i = 0; i < count; ++i) users.push_back(user(i));
  std::shuffle(users.begin(), users.end(), std::mt19937());
  return users;
}

// In $TMPDIR where it is set, otherwise beside the program, since /tmp may lie in memory.
inline path placeOnDisk() {
  const char* chosen = std::getenv("TMPDIR");
  if (chosen != nullptr && *chosen != '\0') return chosen;
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

// Stores are filled in memory where there is room, since each item that is added waits for
// the disk, and some disks take minutes for 100,000.
inline path placeToFill(const path& otherwise) {
  constexpr std::uintmax_t room = 256 << 20;
  std::error_code none;
  const auto space = std::filesystem::space("/dev/shm", none);
  return !none && space.available > room ? path("/dev/shm") : otherwise;
}

// Makes a store of so many passwords in a new folder.
inline path fill(const path& folder, std::size_t count) {
  const TemporaryFolder maker(placeToFill(folder.parent_path()));
  use(open(maker.path()));
  const Passwords passwords;
  for (std::size_t i = 0; i < count; ++i) passwords.set(user(i), i);
  use(tarvex::memoryItemService());  // closes it
  std::filesystem::copy(maker.path(), folder, std::filesystem::copy_options::recursive);
  return folder;
}

}  // namespace bench
