#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "TarvexCommon/Menu/MenuEnabling.h"

namespace tarvex {
namespace {

using testing::ElementsAre;

constexpr std::int64_t smallest = std::numeric_limits<std::int64_t>::min();

// What was asked of it: e and d for enabled and disabled, s and h for shown and hidden.
struct Item {
  explicit Item(std::int64_t itsTag) : tag_(itsTag) {}
  std::int64_t tag() const { return tag_; }
  void setEnabled(bool is) { asked += is ? 'e' : 'd'; }
  void setHidden(bool is) { asked += is ? 'h' : 's'; }

  std::int64_t tag_;
  std::string asked = {};
};

std::vector<Item> items(std::initializer_list<std::int64_t> tags) {
  return {tags.begin(), tags.end()};
}

std::vector<std::string> asked(const std::vector<Item>& items) {
  std::vector<std::string> all;
  for (const Item& item : items) all.push_back(item.asked);
  return all;
}

TEST(Menu, KnowsTwoConditions) {
  EXPECT_EQ(menuEnablingConditionTag(1001), MenuEnablingConditionTag::ownMenuDelegate);
  EXPECT_EQ(menuEnablingConditionTag(1111), MenuEnablingConditionTag::isDebugMode);
  for (const std::int64_t other : {0, 1000, 1112, -1111, -1001}) {
    EXPECT_EQ(menuEnablingConditionTag(other), std::nullopt) << other;
  }
}

TEST(Menu, LetsAllPassButDebugMode) {
  for (const std::int64_t tag : {1001, -1001, 5, -5, 0, 1112}) EXPECT_TRUE(passConditionTag(tag));
  EXPECT_TRUE(passConditionTag(smallest + 1));
  EXPECT_FALSE(passConditionTag(1111));
  EXPECT_FALSE(passConditionTag(-1111));
}

TEST(Menu, EnablesItemsByTheirTags) {
  auto menu = items({0, 7, 1111, -1111, -1001});
  updateMenuItems(menu);
  EXPECT_THAT(asked(menu), ElementsAre("", "e", "d", "d", "e"));
  updateMenuItems(std::vector<Item>());
}

TEST(Menu, ShowsAlternatesButNoneOfDebugMode) {
  auto menu = items({-5, -1111, 5, 0, 1111, smallest});
  toggleVisibility(true, menu);
  toggleVisibility(false, menu);
  EXPECT_THAT(asked(menu), ElementsAre("sh", "hh", "", "", "", "sh"));
}

TEST(Menu, TakesPointersToItems) {
  std::vector<std::unique_ptr<Item>> menu;
  menu.push_back(std::make_unique<Item>(-7));
  updateMenuItems(menu);
  std::vector<Item*> plain = {menu[0].get()};
  toggleVisibility(true, plain);
  EXPECT_EQ(menu[0]->asked, "es");
}

TEST(Menu, StopsAtATagWithoutAbsoluteValueAfterTheItemsBefore) {
  EXPECT_DEATH(passConditionTag(smallest), "Assertion failed");
  struct Telling : Item {
    using Item::Item;
    void setEnabled(bool) { std::fputs("enabled ", stderr); }
  };
  std::vector<Telling> menu = {Telling(7), Telling(smallest), Telling(8)};
  EXPECT_DEATH(updateMenuItems(menu), "^enabled TarvexCommon.*Assertion failed");
}

}  // namespace
}  // namespace tarvex
