#include "TokenPage.h"

#include <QFontDatabase>
#include <QGridLayout>
#include <QMimeData>
#include <QTextOption>
#include <QTimer>
#include <chrono>

#include "Secrets.h"
#include "SegmentColours.h"
#include "Text.h"

namespace inspector {
namespace {

// A field for a token. Of a longer text it takes as much as shows that it is too long, since
// laying out megabytes stops the window.
class TokenEdit : public QPlainTextEdit {
 public:
  static QString cut(const QString& text) { return text.left(longestToken + 1); }

 private:
  void insertFromMimeData(const QMimeData* source) override {
    if (source->hasText()) insertPlainText(cut(source->text()));
  }
};

// Lines run from left to right, whatever letters stand in them.
void setUp(QPlainTextEdit& edit, const char* name) {
  edit.setObjectName(name);
  edit.setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  edit.setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  edit.setTabChangesFocus(true);
  QTextOption option = edit.document()->defaultTextOption();
  option.setTextDirection(Qt::LeftToRight);
  edit.document()->setDefaultTextOption(option);
}

}  // namespace

TokenPage::TokenPage() : token_(new TokenEdit) {
  setUp(*token_, "token");
  new SegmentColours(token_->document());
  setUp(*header_, "header");
  setUp(*claims_, "claims");
  for (QPlainTextEdit* edit : {header_, claims_}) edit->setReadOnly(true);
  token_->setPlaceholderText("Paste a token");
  publicKey_->setPlaceholderText("x and y with a space between them, or 04 x y, in base64");
  publicKey_->setAccessibleName("Public key");
  key_->setObjectName("key");
  publicKey_->setObjectName("publicKey");
  layOut();
  connectAll();
  reloadKeys();
}

void TokenPage::connectAll() {
  connect(token_, &QPlainTextEdit::textChanged, this, &TokenPage::read);
  connect(key_, &QComboBox::currentIndexChanged, this, &TokenPage::read);
  connect(publicKey_, &QLineEdit::textChanged, this, &TokenPage::read);
  auto* time = new QTimer(this);
  connect(time, &QTimer::timeout, this, &TokenPage::judge);
  time->start(std::chrono::seconds(1));
}

void TokenPage::layOut() {
  token_->setFixedHeight(5 * token_->fontMetrics().lineSpacing());
  auto* key = new QHBoxLayout;
  key->addWidget(key_);
  key->addWidget(publicKey_, 1);
  key->addStretch();
  auto* grid = new QGridLayout(this);
  grid->setVerticalSpacing(10);
  grid->addWidget(labelFor(token_, "To&ken:"), 0, 0, Qt::AlignTop);
  grid->addWidget(token_, 0, 1);
  grid->addWidget(labelFor(key_, "Ke&y:"), 1, 0);
  grid->addLayout(key, 1, 1);
  grid->addWidget(keyProblem_, 2, 1);
  grid->addWidget(verdict_, 3, 0, 1, 2);
  grid->addWidget(labelFor(expiry_, "E&xpiry:"), 4, 0);
  grid->addWidget(expiry_, 4, 1);
  grid->addLayout(contents(), 5, 0, 1, 2);
  grid->setRowStretch(5, 1);
}

QLayout* TokenPage::contents() {
  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(12);
  grid->setVerticalSpacing(4);
  grid->addWidget(labelFor(header_, "Hea&der:"), 0, 0);
  grid->addWidget(labelFor(claims_, "C&laims:"), 0, 1);
  grid->addWidget(header_, 1, 0);
  grid->addWidget(claims_, 1, 1);
  grid->setColumnStretch(0, 2);
  grid->setColumnStretch(1, 3);
  return grid;
}

void TokenPage::reloadKeys() {
  const QSignalBlocker silent(key_);
  const QString chosen = key_->currentText();
  key_->clear();
  key_->addItem("No key");
  keyProblem_->clear();
  try {
    for (const std::string& label : keyLabels()) {
      key_->addItem(inOneLine('"' + label + '"'), QString::fromStdString(label));
    }
  } catch (const tarvex::KeychainError& error) {
    keyProblem_->setText(visibly(error.errorDescription()));
  }
  key_->addItem("Public key");
  key_->setCurrentText(chosen);  // one that is gone: no key
  read();
}

void TokenPage::setToken(const QString& text) { token_->setPlainText(TokenEdit::cut(text)); }

void TokenPage::chooseKey(const QString& label) {
  key_->setCurrentIndex(qMax(0, key_->findData(label)));
}

bool TokenPage::wantsPublicKey() const { return key_->currentIndex() == key_->count() - 1; }

KeyChoice TokenPage::choice() const {
  if (key_->currentIndex() == 0) return {};
  if (wantsPublicKey())
    return {.kind = KeyChoice::Kind::publicKey, .text = publicKey_->text().toStdString()};
  return {.kind = KeyChoice::Kind::label, .text = key_->currentData().toString().toStdString()};
}

void TokenPage::read() {
  publicKey_->setVisible(wantsPublicKey());
  keyProblem_->setVisible(!keyProblem_->text().isEmpty());
  report_ = inspect(token().toStdString(), choice());
  header_->setPlainText(visibly(report_.header));
  claims_->setPlainText(visibly(report_.claims));
  judge();
  whenRead_();
}

void TokenPage::judge() {
  verdict_->setVerdict(verdict(report_));
  expiry_->setText(QString::fromStdString(expiry(report_)));
}

}  // namespace inspector
