// The alternates in the menus of a window, shown while Alt is held.
#pragma once

#include <QMainWindow>

namespace inspector {

// They go when Alt is released and when the window is no longer the active one. The menus of
// `window` are there before this and after it.
class AlternateItems : public QObject {
 public:
  explicit AlternateItems(QMainWindow& window);

 private:
  bool eventFilter(QObject* receiver, QEvent* event) override;
  void setVisible(bool areVisible);

  QMainWindow* window_;
  bool areVisible_ = true;
};

}  // namespace inspector
