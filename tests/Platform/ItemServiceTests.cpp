// The semantics of item services: every implementation runs the same tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <iterator>

#include "TarvexCommon/Platform/Linux/SecretServiceItemService.h"
#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Services.h"
#include "tests/Support/Desktop.h"
#include "tests/Support/Items.h"
#include "tests/Support/Processes.h"
#include "tests/Support/Store.h"
#include "tests/Support/Threads.h"
#include "tests/Support/Vectors.h"

namespace tarvex {
namespace {

// A key that shows what it was made from.
struct FakeKey : SecKey {
  FakeKey(Data itsBytes, ItemDictionary itsAttributes)
      : bytes(std::move(itsBytes)), attributes(std::move(itsAttributes)) {}

  Data bytes;
  ItemDictionary attributes;
};

SecKeyResult<SecKeyRef> importFake(Bytes bytes, const ItemDictionary& attributes) {
  if (bytes.text() == "broken") return SecKeyFailure{"broken"};
  return std::make_shared<FakeKey>(toData(bytes), attributes);
}

const std::string key = "keys kcls=1 atag='tag ";
const std::string anyPassword = "genp sync=syna ";

// What a look-up answers with, or `before` where it fails.
ItemValue found(const std::string& words, ItemValue before = {}) {
  (void)SecItemCopyMatching(item(words), &before);
  return before;
}

// Returns the values of all that a query finds, one after the other.
std::string values(const std::string& words) {
  std::string texts;
  const ItemValue all = found(words + " m_Limit=m_LimitAll r_Data=true", ItemValue::List());
  for (const ItemValue& value : *all.get<ItemValue::List>()) {
    texts += Bytes(*value.get<Data>()).text();
  }
  return texts;
}

// Items in the keyring of a desktop, which has none at first.
ItemService itemsOfDesktop() {
  static const Desktop desktop;
  installServices({.bundle = {.keychainAccessGroups = {{"own", "shared", "other"}}}});
  ItemService items = secretServiceItemService();
  for (const char* all : {"genp sync=syna", "keys sync=syna"}) (void)items.remove(item(all));
  return items;
}

struct Implementation {
  const char* name;
  ItemService (*make)();
};

class ItemSemantics : public testing::TestWithParam<Implementation> {
 protected:
  ItemSemantics() { startOver(); }
  ~ItemSemantics() override { installServices({}); }

  void startOver() {
    items_ = GetParam().make();
    install({"own", "shared"});
  }

  // Puts the same items in use for a process with these groups, at this time.
  void install(std::vector<std::string> groups, double seconds = 0) {
    KeyService keys;
    keys.createWithData = importFake;
    installServices({.bundle = {.keychainAccessGroups = std::move(groups)},
                     .itemService = items_,
                     .keyService = keys,
                     .clock = fixedClock(Date::fromTimeIntervalSince1970(seconds))});
  }

  // Takes the steps of one section: what each asks for, and what must come of it.
  void follow(const std::string& section) {
    for (const Vector& step : readVectors(ownVectors + "Items.txt", section)) {
      SCOPED_TRACE(step.trace());
      EXPECT_EQ(statusOf(step), step.has("status") ? std::stoi(step.raw("status")) : 0);
      EXPECT_TRUE(!step.has("left") || values(anyPassword) == step.raw("left"));
      EXPECT_TRUE(!step.has("values") || values(step.raw("copy")) == step.raw("values"));
      EXPECT_TRUE(!step.has("found") || found(step.raw("copy"), "-") == valueIn(step.raw("found")));
    }
  }

 private:
  static std::vector<std::string> textsIn(const std::string& words) {
    std::istringstream stream(words);
    return {std::istream_iterator<std::string>(stream), {}};
  }

  // A list is marked by "[]", a dictionary is one of several words.
  static ItemValue valueIn(const std::string& words) {
    if (words.starts_with("[]")) return ItemValue::List{valueIn(words.substr(2))};
    if (words.find(' ') == words.npos) return valueOf(words);
    return item(words);
  }

  OSStatus statusOf(const Vector& step) {
    if (step.has("over")) startOver();
    if (step.has("groups")) return install(textsIn(step.raw("groups")), 60), errSecSuccess;
    if (step.has("add")) return SecItemAdd(item(step.raw("add")));
    if (step.has("remove")) return SecItemDelete(item(step.raw("remove")));
    ItemValue result;
    if (step.has("copy")) return SecItemCopyMatching(item(step.raw("copy")), &result);
    return SecItemUpdate(item(step.raw("update")), item(step.raw("changes")));
  }

  ItemService items_;
};

INSTANTIATE_TEST_SUITE_P(, ItemSemantics,
                         testing::Values(Implementation{"Memory", memoryItemService},
                                         Implementation{"Store", temporaryStore},
                                         Implementation{"SecretService", itemsOfDesktop}),
                         [](const auto& of) { return std::string(of.param.name); });

TEST_P(ItemSemantics, RefusesWhatIsNotARequest) { follow("refused"); }

TEST_P(ItemSemantics, KeepsOneItemOfEachIdentity) { follow("identities"); }

TEST_P(ItemSemantics, FindsByAttributesOldestFirst) { follow("matches"); }

TEST_P(ItemSemantics, ShowsAProcessItsGroupsOnly) { follow("groups"); }

TEST_P(ItemSemantics, ReturnsWhatIsAskedFor) { follow("returns"); }

TEST_P(ItemSemantics, UpdatesAllMatchesOrNone) { follow("updates"); }

TEST_P(ItemSemantics, RemovesAllMatchesOrTheOldest) { follow("removals"); }

TEST_P(ItemSemantics, ChangesEachAttributeThatMayChange) { follow("changes"); }

TEST_P(ItemSemantics, ReturnsTheAddedItem) {
  ItemValue result;
  EXPECT_EQ(SecItemAdd(item("genp acct=a v_Data='v r_Data=true"), &result), errSecSuccess);
  EXPECT_EQ(result, ItemValue(toData("v")));
  EXPECT_EQ(SecItemAdd(item(key + "v_Data='broken r_Ref=true"), &result), errSecDecode);
  EXPECT_EQ(SecItemCopyMatching(item(key)), errSecItemNotFound);
}

TEST_P(ItemSemantics, ReturnsKeysMadeFromTheirBytes) {
  follow("keys");
  const ItemValue result = found(key + "r_Ref=true");
  ASSERT_NE(result.get<SecKeyRef>(), nullptr);
  const auto made = std::static_pointer_cast<const FakeKey>(*result.get<SecKeyRef>());
  EXPECT_EQ(made->bytes, toData("bytes"));
  EXPECT_EQ(ItemValue(made->attributes), found(key + "r_Attributes=true"));
}

TEST_P(ItemSemantics, ReadsABrokenKeyOnlyForItsReference) {
  follow("broken keys");
  EXPECT_EQ(SecItemCopyMatching(item(key + "r_Ref=true")), errSecSuccess);
}

TEST_P(ItemSemantics, LetsOneOfManyThreadsAdd) {
  std::atomic<int> added = 0;
  inThreads(8, [&added](int i) {
    if (SecItemAdd(item("genp acct=a")) == errSecSuccess) ++added;
    const std::string own = "genp acct=" + std::to_string(i);
    for (int j = 0; j < 5; ++j) {
      (void)SecItemAdd(item(own + " svce=" + std::to_string(j)));
      (void)SecItemUpdate(item(own), item("v_Data='v"));
    }
  });
  EXPECT_EQ(added, 1);
  EXPECT_EQ(std::ranges::count(values(anyPassword), 'v'), 40);
}

TEST_P(ItemSemantics, ExplainsItsStatusesOnly) {
  const OSStatus statuses[] = {0,      -4,     -34,    -36,    -50,    -61,    -108,  -25291,
                               -25293, -25295, -25299, -25300, -25308, -26275, -34018};
  for (const OSStatus status : statuses) {
    EXPECT_FALSE(SecCopyErrorMessageString(status).value_or("").empty()) << status;
  }
  EXPECT_EQ(SecCopyErrorMessageString(-1), std::nullopt);
}

TEST(ItemService, AnswersForOperationsThatAHostLeavesOut) {
  installServices({.itemService = {}});
  EXPECT_EQ(SecItemAdd({}), errSecUnimplemented);
  EXPECT_EQ(SecItemCopyMatching({}), errSecUnimplemented);
  EXPECT_EQ(SecItemUpdate({}, {}), errSecUnimplemented);
  EXPECT_EQ(SecItemDelete({}), errSecUnimplemented);
  EXPECT_EQ(SecCopyErrorMessageString(errSecSuccess), std::nullopt);
  installServices({});
}

TEST(MemoryItemService, SharesItemsBetweenCopiesOnly) {
  const ItemService first = memoryItemService();
  const ItemService second = first;
  EXPECT_EQ(first.add(item("genp"), nullptr), errSecSuccess);
  EXPECT_EQ(second.copyMatching(item("genp"), nullptr), errSecSuccess);
  EXPECT_EQ(memoryItemService().copyMatching(item("genp"), nullptr), errSecItemNotFound);
}

}  // namespace
}  // namespace tarvex
