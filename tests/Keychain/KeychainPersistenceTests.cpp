#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "TarvexCommon/Keychain/Keychain.h"
#include "TarvexCommon/Keychain/KeychainIdentifiers.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "tests/Support/Errors.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Items.h"
#include "tests/Support/RecordingItems.h"
#include "tests/Support/Store.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

using namespace KeychainPersistence;
using testing::IsEmpty;

const std::string file = ownVectors + "Keychain.txt";

const Bundle team = {.identifier = "com.example.tests",
                     .infoDictionary = {{"TeamIDPrefix", "T1."}}};

class Persistence : public testing::Test {
 protected:
  // Adds an item of the devices' service.
  static void store(const std::string& account, const std::string& value, bool synced) {
    ItemDictionary added = item("genp agrp=T1.com.tarvex.devices svce=com.tarvex.devices");
    added["acct"] = account;
    added["v_Data"] = toData(value);
    added["sync"] = synced;
    EXPECT_EQ(SecItemAdd(added), errSecSuccess);
  }

  // What is stored there: account, "+" when synchronised, and value.
  static std::multiset<std::string> stored() {
    std::multiset<std::string> all;
    const Keychain devices({.service = "com.tarvex.devices", .access = std::nullopt});
    for (const auto& found : devices.getAllItems()) {
      const bool synced = *find<bool>(found, kSecAttrSynchronizable);
      all.insert(*find<std::string>(found, kSecAttrAccount) + (synced ? "+" : "-") +
                 std::string(Bytes(*find<Data>(found, kSecValueData)).text()));
    }
    return all;
  }

  RecordingItems items{temporaryStore()};
  const InstalledServices installed{{.bundle = team, .itemService = items.service()}};
};

using PersistenceDeathTest = Persistence;

TEST_F(Persistence, KnowsItsFourItems) {
  const auto vectors = readVectors(file, "catalogue");
  ASSERT_EQ(vectors.size(), KeychainItem::allCases.size());
  for (std::size_t i = 0; i < vectors.size(); ++i) {
    const KeychainItem known = KeychainItem::allCases[i];
    EXPECT_EQ(static_cast<std::size_t>(known.itemCase()), i);
    EXPECT_EQ(known.serviceName(), vectors[i].raw("service"));
    EXPECT_EQ(known.accessGroup(), vectors[i].raw("group"));
    EXPECT_EQ(known.rawLabel(), vectors[i].raw("label"));
    EXPECT_EQ(known.isSynced(), vectors[i].raw("synced") == "yes");
  }
}

TEST_F(PersistenceDeathTest, StopsWithoutATeam) {
  const auto groupOf = [](const char* prefix) {
    Bundle bundle;
    if (prefix != nullptr) bundle.infoDictionary = {{"TeamIDPrefix", prefix}};
    installServices({.bundle = bundle});
    std::fprintf(stderr, "<%s>", TarvexKeychainAccessGroups::cloud().c_str());
    std::_Exit(0);
  };
  EXPECT_EXIT(groupOf("X1"), testing::ExitedWithCode(0), "<X1com\\.tarvex\\.cloud>");
  EXPECT_DEATH(groupOf(nullptr), "TarvexCommon/Keychain:24: Fatal error: Unexpectedly found nil");
}

TEST_F(Persistence, SavesReadsAndRemoves) {
  saveToKeychain({.value = "tok1", .user = "alice"}, KeychainItem::accessTokenAPI);
  EXPECT_EQ(
      items.calls.back(),
      (RecordedCall{"add", item("genp svce=com.tarvex.cloud agrp=T1.com.tarvex.cloud nleg=true "
                                "acct=alice:access%20token pdmn=ck sync=false v_Data='tok1")}));
  saveToKeychain({.blob = toData("tok2"), .user = "alice"}, KeychainItem::accessTokenAPI);
  EXPECT_EQ(getFromKeychain("alice", KeychainItem::accessTokenAPI), "tok2");
  removeFromKeychain("alice", KeychainItem::accessTokenAPI);
  const auto read = [] { getFromKeychain("alice", KeychainItem::accessTokenAPI); };
  EXPECT_EQ(thrown<KeychainError>(read), KeychainError::itemNotFoundError());
}

TEST_F(Persistence, HasOneErrorForEachOperation) {
  const auto save = [](std::string_view value) {
    saveToKeychain({.value = value, .user = "a"}, KeychainItem::password);
  };
  const auto read = [] { getFromKeychain("a", KeychainItem::password); };
  const auto remove = [] { removeFromKeychain("a", KeychainItem::password); };
  const auto notFound = KeychainError::itemNotFoundError();
  EXPECT_EQ(thrown<KeychainError>([&] { save("\xFF"); }), KeychainError::itemNotSavedError());
  EXPECT_EQ(thrown<KeychainError>([] {
              saveToKeychain({.blob = fromHex("ff61"), .user = "a"}, KeychainItem::password);
            }),
            KeychainError::dataConversionError());
  EXPECT_THAT(items.calls, IsEmpty());
  store("a:password", "\xFF", true);
  EXPECT_EQ(thrown<KeychainError>(read), notFound) << "not UTF-8";
  items.failures = {{"exists", errSecIO}, {"copyMatching", errSecIO}, {"remove", errSecIO}};
  EXPECT_EQ(thrown<KeychainError>([&] { save("x"); }), KeychainError::itemNotSavedError());
  EXPECT_EQ(thrown<KeychainError>(read), notFound);
  EXPECT_EQ(thrown<KeychainError>(remove), notFound);
}

TEST_F(Persistence, MigratesInPlaceOrToTheTwin) {
  EXPECT_TRUE(forceSyncMigration(KeychainItem::password)) << "no items";
  const std::string binary("\0\x01\u00E4\n", 5);
  store("alice:password", binary, false);
  store("bob:password", "old", false);
  store("bob:password", "new", true);
  store("alice:container_key", "k", false);
  store("carol:my password too", "q", false);
  EXPECT_TRUE(forceSyncMigration(KeychainItem::password));
  EXPECT_EQ(stored(),
            (std::multiset<std::string>{"alice:container_key-k", "alice:password+" + binary,
                                        "bob:password+new", "carol:my password too+q"}));
  items.calls.clear();
  EXPECT_TRUE(forceSyncMigration(KeychainItem::password));
  EXPECT_EQ(items.calls.size(), 1U) << "what is synchronised is left alone";
  EXPECT_THAT(installed.log.messages(), IsEmpty());
}

TEST_F(Persistence, ReportsWhatItCannotMigrateAndGoesOn) {
  store("bob:password", "new", true);
  items.failures["update"] = errSecNotAvailable;
  std::vector<std::string> lines;
  for (const Vector& vector : readVectors(file, "migration")) {
    store(vector.raw("account"), "p", false);
    if (vector.has("failing")) items.failures[vector.raw("failing")] = errSecIO;
    lines.push_back(vector.raw("line"));
  }
  const auto before = stored();
  EXPECT_FALSE(forceSyncMigration(KeychainItem::password));
  EXPECT_EQ(installed.log.messages(), lines);
  EXPECT_EQ(stored(), before);
}

}  // namespace
}  // namespace tarvex
