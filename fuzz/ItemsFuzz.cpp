// Lines of item dictionaries (tests/Support/Items.h) as operations on the store, which must
// answer as the service in memory does: "+", "?" or "-" and a dictionary adds, finds or removes
// items; "=", a dictionary, "/" and a dictionary changes them. The whole input is also read as
// the coded attributes of an item.
#include "TarvexCommon/Base/FatalError.h"
#include "TarvexCommon/Platform/AttributeCoding.h"
#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Services.h"
#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Items.h"
#include "tests/Support/TemporaryFolder.h"

namespace tarvex {
namespace {

// Keys that are returned compare by identity, so that none are asked for.
std::optional<ItemDictionary> readItem(const std::string& words) {
  try {
    ItemDictionary read = item(words);
    read.erase(kSecReturnRef);
    return read;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

struct Pair {
  explicit Pair(const std::string& folder)
      : memory(memoryItemService()), store(KeychainStore({.folder = folder}).itemService()) {}

  void run(const std::string& line) const {
    const std::size_t slash = line.find('/');
    const auto first = readItem(line.substr(1, slash - 1));
    const auto second = readItem(slash == std::string::npos ? "" : line.substr(slash + 1));
    if (!first || !second) return;
    ItemValue inMemory, inStore;
    switch (line[0]) {
      case '+': agree(memory.add(*first, &inMemory), store.add(*first, &inStore)); break;
      case '?':
        agree(memory.copyMatching(*first, &inMemory), store.copyMatching(*first, &inStore));
        break;
      case '-': agree(memory.remove(*first), store.remove(*first)); break;
      case '=': agree(memory.update(*first, *second), store.update(*first, *second)); break;
      default: return;
    }
    require(inMemory == inStore);
  }

  void clear() const {
    for (const char* words : {"genp sync=syna", "keys sync=syna"}) {
      (void)memory.remove(item(words));
      (void)store.remove(item(words));
    }
  }

  // Of several reasons to refuse, any may be the answer.
  static void agree(OSStatus first, OSStatus second) {
    const auto isRefusal = [](OSStatus status) {
      return status == errSecParam || status == errSecUnimplemented ||
             status == errSecMissingEntitlement;
    };
    require(first == second || (isRefusal(first) && isRefusal(second)));
  }

  ItemService memory, store;
};

void checkOperations(Bytes input) {
  static const TemporaryFolder folder(placeInMemory());
  static const Pair pair(folder / "keychain");
  installServices(
      {.bundle = {.identifier = "app"}, .clock = fixedClock(Date::fromTimeIntervalSince1970(1e9))});
  std::istringstream lines{std::string(input.text())};
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) pair.run(line);
  }
  pair.clear();
}

void checkCoding(Bytes input) {
  if (const auto attributes = decodedAttributes(input)) {
    require(decodedAttributes(encoded(*attributes)) == attributes);
  }
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::checkOperations({data, size});
  tarvex::checkCoding({data, size});
  return 0;
}
