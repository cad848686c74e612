// The verdict on a token, in words, with an icon and a colour.
#pragma once

#include <QFrame>

#include "Labels.h"
#include "TokenReport.h"

namespace inspector {

class VerdictBanner : public QFrame {
 public:
  VerdictBanner();

  void setVerdict(const Verdict& verdict);

 private:
  Verdict verdict_ = {};
  QLabel* icon_ = new QLabel;
  QLabel* title_ = plainLabel("verdict");
  QLabel* reason_ = plainLabel("reason");
};

}  // namespace inspector
