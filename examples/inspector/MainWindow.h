// The inspector's window: the pages and the menus.
#pragma once

#include <QMainWindow>
#include <QTabWidget>
#include <memory>

#include "AlternateItems.h"
#include "ItemsPage.h"
#include "TokenPage.h"

namespace inspector {

class MainWindow : public QMainWindow {
 public:
  // `notice` stands above the pages; empty for none.
  explicit MainWindow(const QString& notice = {});

  void openToken(const std::string& text);
  TokenPage& tokenPage() { return *token_; }

 private:
  void layOut(const QString& notice);
  void makeFileMenu();
  void makeEditMenu();
  void makeViewMenu();
  QMenu& makeMenu(const QString& title);
  void updateMenus();
  void updateOwnItems();

  QTabWidget* pages_ = new QTabWidget;
  ItemsPage* items_;
  TokenPage* token_;
  QAction* copyToken_;
  QAction* copyClaims_;
  std::unique_ptr<AlternateItems> alternates_;
};

}  // namespace inspector
