// The page of the stored secrets, a service at a time.
#pragma once

#include <QComboBox>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <vector>

#include "Labels.h"
#include "Secrets.h"

namespace inspector {

// A value is read when the user asks for it, and shown until they have seen it: until it is
// hidden, another secret or service is chosen, the page or the window is left, or half a minute
// is over.
class ItemsPage : public QWidget {
 public:
  // `openAsToken` takes the value of a secret.
  explicit ItemsPage(std::function<void(const std::string& value)> openAsToken);

  void reload();
  void addSecret();

 private:
  bool event(QEvent* event) override;
  void hideEvent(QHideEvent* event) override;

  void nameAll();
  void makeTable();
  void connectAll();
  void layOut();
  void fillTable();
  void updateButtons();
  void reveal();
  void conceal();
  void openValue();
  void removeSecret();
  bool isRevealed() const { return revealed_ >= 0; }
  const Secret& selected() const {
    return secrets_.at(static_cast<std::size_t>(table_->currentRow()));
  }

  // Shows what goes wrong, or how many secrets there are when nothing does; returns whether
  // nothing does.
  template <typename Operation>
  bool attempt(const Operation& operation);

  std::function<void(const std::string& value)> openAsToken_;
  QComboBox* services_ = new QComboBox;
  QTableWidget* table_ = new QTableWidget;
  QPushButton* show_ = new QPushButton;
  QPushButton* open_ = new QPushButton("&Open as Token");
  QPushButton* add_ = new QPushButton("&Add…");
  QPushButton* remove_ = new QPushButton("&Remove…");
  QLabel* status_ = plainLabel("status");
  QTimer* hideAgain_ = new QTimer(this);
  std::vector<Secret> secrets_;
  int revealed_ = -1;  // the row, or none
};

}  // namespace inspector
