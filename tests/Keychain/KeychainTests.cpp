#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "TarvexCommon/Keychain/Keychain.h"
#include "tests/Support/Errors.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/Items.h"
#include "tests/Support/RecordingItems.h"
#include "tests/Support/Vectors.h"

using namespace std::string_literals;

namespace tarvex {
namespace {

using testing::ElementsAre;
using Synced = std::optional<bool>;
using Call = RecordedCall;

class KeychainOperation : public testing::Test {
 protected:
  static Keychain keychain(std::optional<std::string> access = std::nullopt) {
    return Keychain({.service = "svc", .access = std::move(access)});
  }

  static void set(const std::string& value, Synced synced = {}, const Keychain& in = keychain()) {
    in.setItem({.valueData = value,
                .user = "u",
                .label = "l",
                .synced = synced,
                .accessibility = kSecAttrAccessibleAfterFirstUnlock});
  }
  static Keychain::ItemName name(Synced synced = {}) {
    return {.secretID = "u", .label = "l", .synced = synced};
  }
  static std::string get(Synced synced = {}, const Keychain& from = keychain()) {
    return from.getItem(name(synced));
  }

  RecordingItems items;
  const InstalledServices installed{
      {.bundle = {.keychainAccessGroups = {{"", "g1", "g2"}}}, .itemService = items.service()}};
};

const std::string one = "genp svce=svc acct=u:l nleg=true ";
const std::string limited = one + "m_Limit=m_LimitOne r_Data=true ";

TEST_F(KeychainOperation, AsksForExactlyThis) {
  set("x");
  const Call look = {"exists", item(one + "pdmn=ck")};
  EXPECT_THAT(items.calls, ElementsAre(look, Call{"add", item(one + "pdmn=ck v_Data='x")}));
  items.calls.clear();
  set("y");
  EXPECT_THAT(items.calls, ElementsAre(look, Call{"update", look.query, item("v_Data='y")}));
  items.calls.clear();

  const Keychain grouped = keychain("g1");
  set("z", true, grouped);
  get(true, grouped);
  grouped.update("u:l", item("sync=true v_Data='new"));
  (void)grouped.getAllItems();
  grouped.removeItem(name(true));
  set("z", false, grouped);
  grouped.removeAll();
  const std::string there = "agrp=g1 sync=";
  const std::string added = one + there + "true pdmn=ck";
  EXPECT_THAT(
      items.calls,
      ElementsAre(Call{"exists", item(added)}, Call{"add", item(added + " v_Data='z")},
                  Call{"copyMatching", item(limited + there + "true")},
                  Call{"update", item("genp svce=svc acct=u:l"), item("sync=true v_Data='new")},
                  Call{"copyMatching", item("genp svce=svc m_Limit=m_LimitAll nleg=true "
                                            "r_Attributes=true r_Data=true sync=syna")},
                  Call{"remove", item(limited + there + "true")},
                  Call{"exists", item(one + there + "false pdmn=ck")},
                  Call{"add", item(one + there + "false pdmn=ck v_Data='z")},
                  Call{"remove", item("genp svce=svc m_Limit=m_LimitAll nleg=true "
                                      "agrp=g1")}));
}

TEST_F(KeychainOperation, KeepsTwinsAndGroupsApart) {
  set("A");
  set("B", true);
  EXPECT_EQ(get(true), "B");
  EXPECT_EQ(get(), "A");
  EXPECT_EQ(get(false), "A");
  set("1", {}, keychain("g1"));
  set("2", {}, keychain("g2"));
  EXPECT_EQ(get({}, keychain("g1")), "1");
  EXPECT_EQ(get({}, keychain("g2")), "2");
  EXPECT_EQ(keychain("g1").getAllItems().size(), 4U) << "whatever the group";
  EXPECT_THROW((void)Keychain({.service = "other", .access = std::nullopt}).getAllItems(),
               KeychainError);
  keychain().removeItem(name());
  EXPECT_EQ(get(true), "B");
  keychain().removeAll();
  EXPECT_EQ(get(true), "B");
  EXPECT_EQ(thrown<KeychainError>([] { keychain().removeAll(); }),
            KeychainError::itemNotFoundError());
}

TEST_F(KeychainOperation, SavesUTF8Only) {
  set("sécret\0!"s);
  EXPECT_EQ(get(), "sécret\0!"s);
  EXPECT_EQ(thrown<KeychainError>([] { set("\xFF"); }), KeychainError::stringConversionError());
  keychain().update("u:l", item("v_Data='%FF%FE"));
  EXPECT_EQ(thrown<KeychainError>([] { get(); }), KeychainError::dataConversionError());
}

TEST_F(KeychainOperation, TurnsStatusesIntoErrors) {
  const auto save = [] { set("x"); };
  const std::map<std::string, std::function<void()>> operations = {
      {"add", save},
      {"get", [] { get(); }},
      {"remove", [] { keychain().removeItem(name()); }},
      {"list", [] { (void)keychain().getAllItems(); }},
      {"change", [] { keychain().update("u:l", item("sync=true")); }},
      {"clear", [] { keychain().removeAll(); }},
      {"replace", save},
  };
  for (const Vector& vector : readVectors(ownVectors + "Keychain.txt", "statuses")) {
    items.failures = {{vector.raw("call"), std::stoi(vector.raw("status"))}};
    if (vector.raw("operation") == "replace") save();
    const auto error = thrown<KeychainError>(operations.at(vector.raw("operation")));
    ASSERT_TRUE(error) << vector.trace();
    EXPECT_EQ(error->errorDescription(), vector.raw("error")) << vector.trace();
  }
}

}  // namespace
}  // namespace tarvex
