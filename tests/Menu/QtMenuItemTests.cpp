#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QMenu>
#include <limits>
#include <string>

#include "TarvexCommon/Menu/QtMenuItem.h"

namespace tarvex {
namespace {

using testing::ElementsAre;

// A menu that shows no alternates, with an item for each tag; one that is 0 was never set.
struct QtMenu : testing::Test {
  QtMenu() {
    for (const std::int64_t tag : {0LL, 7LL, -5LL, -1001LL, 1111LL, -1111LL, smallest + 1}) {
      QAction& action = *menu.addAction("item");
      if (tag != 0) setMenuTag(action, tag);
    }
    toggleVisibility(false, menuItems(menu));
  }

  // Of each item: enabled, disabled, or hidden.
  std::string states() const {
    std::string all;
    for (const QAction* action : menu.actions()) {
      all += !action->isVisible() ? 'h' : action->isEnabled() ? 'e' : 'd';
    }
    return all;
  }

  static constexpr long long smallest = std::numeric_limits<long long>::min();

  int count = 3;
  char* arguments[4] = {const_cast<char*>("tests"), const_cast<char*>("-platform"),
                        const_cast<char*>("offscreen"), nullptr};
  QApplication application{count, arguments};
  QMenu menu;
};

TEST_F(QtMenu, KeepsTagsInFull) {
  std::vector<std::int64_t> tags;
  for (const QtMenuItem& item : menuItems(menu)) tags.push_back(item.tag());
  EXPECT_THAT(tags, ElementsAre(0, 7, -5, -1001, 1111, -1111, smallest + 1));
}

TEST_F(QtMenu, ShowsAlternatesButNoneOfDebugMode) {
  EXPECT_EQ(states(), "eehhehh");
  toggleVisibility(true, menuItems(menu));
  EXPECT_EQ(states(), "eeeeehe");
  toggleVisibility(false, menuItems(menu));
  EXPECT_EQ(states(), "eehhehh");
}

TEST_F(QtMenu, EnablesHiddenItemsForWhenTheyAreShown) {
  for (QAction* action : menu.actions()) action->setEnabled(false);
  updateMenuItems(menuItems(menu));
  EXPECT_EQ(states(), "dehhdhh");
  toggleVisibility(true, menuItems(menu));
  EXPECT_EQ(states(), "deeedhe");
  for (QAction* action : menu.actions()) action->setVisible(true);
  EXPECT_EQ(states(), "deeedde");
}

TEST_F(QtMenu, LeavesItemsOfSubmenusAlone) {
  QAction& nested = *menu.addMenu("more")->addAction("nested");
  setMenuTag(nested, 1111);
  updateMenuItems(menuItems(menu));
  EXPECT_TRUE(nested.isEnabled());
}

}  // namespace
}  // namespace tarvex
