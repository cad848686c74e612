// A keychain store in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "TarvexCommon/Platform/Store/KeychainStore.h"
#include "tests/Support/Items.h"
#include "tests/Support/LongTests.h"
#include "tests/Support/TemporaryFolder.h"

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

inline AskForPassphrase say(const std::optional<std::string>& text) {
  return [text] { return text; };
}

// A letter for each slot.
inline std::string slotsOf(const KeychainStore& store) {
  std::string names;
  for (const KeySlot slot : store.status().slots) names += "fps"[static_cast<int>(slot)];
  return names;
}

struct StoreTest : testing::Test {
  // A password's words, as `WordStore` takes them.
  static std::string named(int number) { return "genp acct=" + std::to_string(number); }

  // Keeps the files as they would be found after a power failure, and puts them back.
  void keep() const { root.run("cp -a keychain kept; rm kept/*-shm"); }
  void renew() const { root.run("rm -rf keychain; cp -a kept keychain"); }

  TemporaryFolder root;
  const std::string folder = root / "keychain";
};

}  // namespace tarvex
