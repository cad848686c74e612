#include "VerdictBanner.h"

#include <QGridLayout>
#include <QStyle>

#include "Text.h"

namespace inspector {
namespace {

// The colour lies thinly over the desktop's own, so that its text can be read on it.
constexpr char banner[] =
    "#banner { border: none; border-left: 4px solid rgb(%1); background: rgba(%1, 36); }";

struct Look {
  QStyle::StandardPixmap icon;
  const char* colour;  // red, green, blue
};

Look lookOf(Verdict::Kind kind) {
  switch (kind) {
    case Verdict::Kind::none: return {QStyle::SP_MessageBoxInformation, "128, 128, 128"};
    case Verdict::Kind::good: return {QStyle::SP_DialogApplyButton, "46, 160, 67"};
    case Verdict::Kind::doubtful: return {QStyle::SP_MessageBoxWarning, "210, 153, 34"};
    case Verdict::Kind::bad: break;
  }
  return {QStyle::SP_MessageBoxCritical, "218, 54, 51"};
}

}  // namespace

VerdictBanner::VerdictBanner() {
  setObjectName("banner");
  QFont bold = title_->font();
  bold.setBold(true);
  title_->setFont(bold);
  auto* grid = new QGridLayout(this);
  grid->addWidget(icon_, 0, 0, 2, 1);
  grid->addWidget(title_, 0, 1);
  grid->addWidget(reason_, 1, 1);
  grid->setColumnStretch(1, 1);
  grid->setHorizontalSpacing(10);
  grid->setVerticalSpacing(2);
}

void VerdictBanner::setVerdict(const Verdict& verdict) {
  if (verdict == verdict_) return;
  verdict_ = verdict;
  const Look look = lookOf(verdict.kind);
  setStyleSheet(QString(banner).arg(look.colour));
  icon_->setPixmap(style()->standardIcon(look.icon).pixmap(24));
  title_->setText(visibly(verdict.title));
  reason_->setText(visibly(verdict.reason));
}

}  // namespace inspector
