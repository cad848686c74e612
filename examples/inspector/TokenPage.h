// The page of one token: its text, the key to check it with, what it says and whether to
// believe it.
#pragma once

#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QWidget>
#include <functional>
#include <utility>

#include "Labels.h"
#include "TokenReport.h"
#include "VerdictBanner.h"

namespace inspector {

class TokenPage : public QWidget {
 public:
  TokenPage();

  // `operation` is called from now on when a token was read.
  void onRead(std::function<void()> operation) { whenRead_ = std::move(operation); }

  void reloadKeys();
  void setToken(const QString& text);
  void chooseKey(const QString& label);  // no key when there is none of this label

  QString token() const { return token_->toPlainText().trimmed(); }
  const TokenReport& report() const { return report_; }

 private:
  void connectAll();
  void layOut();
  QLayout* contents();
  bool wantsPublicKey() const;
  KeyChoice choice() const;
  void read();   // everything, after a change
  void judge();  // what time changes

  std::function<void()> whenRead_ = [] {};
  QPlainTextEdit* token_;
  QComboBox* key_ = new QComboBox;
  QLineEdit* publicKey_ = new QLineEdit;
  QLabel* keyProblem_ = plainLabel("keyProblem");
  VerdictBanner* verdict_ = new VerdictBanner;
  QLabel* expiry_ = plainLabel("expiry");
  QPlainTextEdit* header_ = new QPlainTextEdit;
  QPlainTextEdit* claims_ = new QPlainTextEdit;
  TokenReport report_;
};

}  // namespace inspector
