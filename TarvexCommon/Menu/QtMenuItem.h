// Qt's menu items, for the operations of MenuEnabling.h.
//
//   setMenuTag(*menu.addAction("Copy Claims as JSON"), -2);
//   updateMenuItems(menuItems(menu));
//   toggleVisibility(isAltHeld, menuItems(menu));
//
// Belongs to the component Qt of the package: link with TarvexCommon::Qt.
#pragma once

#include <QAction>
#include <QVariant>
#include <QWidget>
#include <cstdint>
#include <vector>

#include "TarvexCommon/Menu/MenuEnabling.h"

namespace tarvex {

// The dynamic property in which an action keeps its tag.
inline constexpr char menuTagProperty[] = "tarvexMenuTag";

// Returns the action's tag; 0 when it has none.
inline std::int64_t menuTag(const QAction& action) {
  return action.property(menuTagProperty).toLongLong();
}

inline void setMenuTag(QAction& action, std::int64_t tag) {
  action.setProperty(menuTagProperty, static_cast<qlonglong>(tag));
}

// A handle on an action, which must outlive it. What an action was last told of being enabled
// holds as soon as it is shown: a hidden one is never enabled, nor is its shortcut.
class QtMenuItem {
 public:
  explicit QtMenuItem(QAction& action) noexcept : action_(&action) {}

  std::int64_t tag() const { return menuTag(*action_); }
  void setEnabled(bool isEnabled) { action_->setEnabled(isEnabled); }
  void setHidden(bool isHidden) { action_->setVisible(!isHidden); }

 private:
  QAction* action_;
};

static_assert(MenuItem<QtMenuItem>);

// Returns the items of a menu, or of another widget with actions; not those of its submenus.
inline std::vector<QtMenuItem> menuItems(const QWidget& menu) {
  std::vector<QtMenuItem> items;
  for (QAction* action : menu.actions()) items.emplace_back(*action);
  return items;
}

}  // namespace tarvex
