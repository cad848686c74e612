// Changes to the files of a small store, five bytes each: which file, where, and what to write
// there, or to cut the file off. No value that is read then is wrong, and nothing that was there
// is said not to be.
#include <filesystem>
#include <fstream>

#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Items.h"
#include "tests/Support/TemporaryFolder.h"

namespace tarvex {
namespace {

namespace fs = std::filesystem;

constexpr int itemCount = 4;

ItemDictionary named(int number) { return item("genp acct=" + std::to_string(number)); }

Data valueOf(int number) { return toData(Bytes(std::string(30, static_cast<char>('a' + number)))); }

// A store with items in its database and in its log, and copies of it to damage.
class Files {
 public:
  Files() {
    for (int number = 0; number < itemCount; ++number) {
      if (number % 2 == 0) open_ = ItemService();  // folds the log into the database
      open_ = KeychainStore({.folder = folder_ / "kept", .firstSlot = KeySlot::file}).itemService();
      ItemDictionary attributes = named(number);
      attributes[kSecValueData] = valueOf(number);
      require(open_.add(attributes, nullptr) == errSecSuccess);
    }
  }

  // Returns the folder of a copy with these changes.
  std::string damaged(Bytes changes) const {
    const std::string copy = folder_ / "copy";
    fs::remove_all(copy);
    fs::copy(folder_ / "kept", copy);
    fs::remove(copy + "/keychain.db-shm");
    for (; changes.size() >= 5; changes = changes.subspan(5)) change(copy, changes.first(5));
    return copy;
  }

 private:
  static void change(const std::string& folder, Bytes change) {
    constexpr const char* names[] = {"keychain.db", "keychain.db-wal", "keychain.key",
                                     "keychain.count"};
    const std::string file = folder + '/' + names[change[0] % 4];
    const auto size = fs::file_size(file);
    if (size == 0) return;
    const std::size_t at =
        (std::size_t{change[1]} << 16 | std::size_t{change[2]} << 8 | change[3]) % size;
    if (change[0] >= 0xF0) return fs::resize_file(file, at);
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(change[4]));
  }

  TemporaryFolder folder_{placeInMemory()};
  ItemService open_;
};

bool isRefusal(OSStatus status) {
  return status == errSecDecode || status == errSecInvalidKeychain || status == errSecAuthFailed ||
         status == errSecNotAvailable;
}

void check(Bytes changes) {
  static const Files files;
  const ItemService items = KeychainStore({.folder = files.damaged(changes)}).itemService();
  for (int number = 0; number < itemCount; ++number) {
    ItemDictionary query = named(number);
    query[kSecReturnData] = true;
    ItemValue found;
    const OSStatus status = items.copyMatching(query, &found);
    require(status == errSecSuccess ? found == ItemValue(valueOf(number)) : isRefusal(status));
  }
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::check({data, size});
  return 0;
}
