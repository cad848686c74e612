#include "MainWindow.h"

#include <QBoxLayout>
#include <QClipboard>
#include <QGuiApplication>
#include <QMenu>
#include <QMenuBar>

#include "TarvexCommon/Menu/QtMenuItem.h"

namespace inspector {
namespace {

// A tag is a condition; an alternate has the negative one. `shortcut` may be empty.
template <typename Operation>
QAction* add(QMenu& menu, std::int64_t tag, const char* text, const char* shortcut,
             const Operation& operation) {
  QAction* action = menu.addAction(text, QKeySequence(shortcut), &menu, operation);
  tarvex::setMenuTag(*action, tag);
  return action;
}

constexpr std::int64_t ordinary = 1;
constexpr auto own = static_cast<std::int64_t>(tarvex::MenuEnablingConditionTag::ownMenuDelegate);
constexpr auto debug = static_cast<std::int64_t>(tarvex::MenuEnablingConditionTag::isDebugMode);

void copy(const QString& text) { QGuiApplication::clipboard()->setText(text); }

}  // namespace

MainWindow::MainWindow(const QString& notice)
    : items_(new ItemsPage([this](const std::string& value) { openToken(value); })),
      token_(new TokenPage) {
  setWindowTitle("Inspector");
  layOut(notice);
  makeFileMenu();
  makeEditMenu();
  makeViewMenu();
  updateMenus();
  token_->onRead([this] { updateOwnItems(); });
  alternates_ = std::make_unique<AlternateItems>(*this);
}

void MainWindow::openToken(const std::string& text) {
  token_->setToken(QString::fromStdString(text));
  pages_->setCurrentWidget(token_);
}

void MainWindow::layOut(const QString& notice) {
  menuBar()->setNativeMenuBar(false);  // the desktop's own would keep the Alt key from us
  auto* label = new QLabel(notice);
  label->setVisible(!notice.isEmpty());
  label->setWordWrap(true);
  pages_->addTab(items_, "&Secrets");
  pages_->addTab(token_, "&Token");
  setCentralWidget(new QWidget);
  auto* all = new QVBoxLayout(centralWidget());
  all->addWidget(label);
  all->addWidget(pages_);
  resize(720, 540);
}

void MainWindow::makeFileMenu() {
  QMenu& menu = makeMenu("&File");
  add(menu, ordinary, "&New Secret…", "Ctrl+N", [this] {
    pages_->setCurrentWidget(items_);
    items_->addSecret();
  });
  menu.addSeparator();
  add(menu, ordinary, "&Quit", "Ctrl+Q", [this] { close(); });
}

void MainWindow::makeEditMenu() {
  QMenu& menu = makeMenu("&Edit");
  add(menu, ordinary, "&Paste Token", "Ctrl+Shift+V",
      [this] { openToken(QGuiApplication::clipboard()->text().toStdString()); });
  copyToken_ = add(menu, own, "&Copy Token", "Ctrl+Shift+C", [this] { copy(token_->token()); });
  copyClaims_ = add(menu, -own, "Copy Claims as &JSON", "Ctrl+Alt+Shift+C",
                    [this] { copy(QString::fromStdString(token_->report().claims)); });
}

void MainWindow::makeViewMenu() {
  QMenu& menu = makeMenu("&View");
  add(menu, ordinary, "&Secrets", "Ctrl+1", [this] { pages_->setCurrentWidget(items_); });
  add(menu, ordinary, "&Token", "Ctrl+2", [this] { pages_->setCurrentWidget(token_); });
  menu.addSeparator();
  add(menu, ordinary, "&Reload", "F5", [this] {
    items_->reload();
    token_->reloadKeys();
  });
  menu.addSeparator();
  add(menu, debug, "&Print Widgets", "", [this] { dumpObjectTree(); });
  add(menu, -debug, "Print Widgets with Properties", "", [this] { dumpObjectInfo(); });
}

QMenu& MainWindow::makeMenu(const QString& title) {
  QMenu* menu = menuBar()->addMenu(title);
  connect(menu, &QMenu::aboutToShow, this, &MainWindow::updateMenus);
  return *menu;
}

void MainWindow::updateMenus() {
  for (const auto* menu : menuBar()->findChildren<QMenu*>()) {
    tarvex::updateMenuItems(tarvex::menuItems(*menu));
  }
  updateOwnItems();
}

void MainWindow::updateOwnItems() {
  copyToken_->setEnabled(!token_->token().isEmpty());
  copyClaims_->setEnabled(!token_->report().claims.empty());
}

}  // namespace inspector
