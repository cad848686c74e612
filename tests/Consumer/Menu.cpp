// Enables and hides items of a Qt menu by their tags.

#include <TarvexCommon/Menu/QtMenuItem.h>  // first, and so by itself

#include <QApplication>
#include <QMenu>

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QMenu menu;
  QAction& debug = *menu.addAction("debug");
  QAction& alternate = *menu.addAction("alternate");
  tarvex::setMenuTag(debug, 1111);
  tarvex::setMenuTag(alternate, -2);
  tarvex::updateMenuItems(tarvex::menuItems(menu));
  tarvex::toggleVisibility(false, tarvex::menuItems(menu));
  return debug.isEnabled() || alternate.isVisible() ? 1 : 0;
}
