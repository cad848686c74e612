#include "AlternateItems.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMenuBar>

#include "TarvexCommon/Menu/QtMenuItem.h"

namespace inspector {
namespace {

bool isAltHeldAfter(const QKeyEvent& event) {
  if (event.key() == Qt::Key_Alt) return event.type() == QEvent::KeyPress;
  return event.modifiers().testFlag(Qt::AltModifier);
}

bool isMenuOpen() { return qobject_cast<QMenu*>(QApplication::activePopupWidget()) != nullptr; }

}  // namespace

// The application is watched, not the window: an open menu gets all keys.
AlternateItems::AlternateItems(QMainWindow& window) : window_(&window) {
  qApp->installEventFilter(this);
  setVisible(false);
}

// An open menu does not get the Alt key itself, which closes it.
bool AlternateItems::eventFilter(QObject* receiver, QEvent* event) {
  const QEvent::Type type = event->type();
  if (type == QEvent::KeyPress || type == QEvent::KeyRelease) {
    const auto& key = *static_cast<QKeyEvent*>(event);
    setVisible(isAltHeldAfter(key));
    return key.key() == Qt::Key_Alt && isMenuOpen();
  }
  if (type == QEvent::WindowDeactivate && receiver == window_) setVisible(false);
  return false;
}

void AlternateItems::setVisible(bool areVisible) {
  if (areVisible == areVisible_) return;
  areVisible_ = areVisible;
  for (const auto* menu : window_->menuBar()->findChildren<QMenu*>()) {
    tarvex::toggleVisibility(areVisible, tarvex::menuItems(*menu));
  }
}

}  // namespace inspector
