#include "SecretDialog.h"

#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

namespace inspector {
namespace {

class SecretDialog : public QDialog {
 public:
  explicit SecretDialog(QWidget* parent) : QDialog(parent) {
    setWindowTitle("New Secret");
    for (const tarvex::KeychainItem item : tarvex::KeychainItem::allCases) {
      item_->addItem(QString::fromStdString(item.rawLabel()));
    }
    user_->setObjectName("user");
    value_->setObjectName("value");
    value_->setEchoMode(QLineEdit::Password);
    connect(user_, &QLineEdit::textChanged, this, &SecretDialog::updateButtons);
    connect(value_, &QLineEdit::textChanged, this, &SecretDialog::updateButtons);
    connect(buttons_, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layOut();
    updateButtons();
  }

  NewSecret secret() const {
    const auto item = static_cast<std::size_t>(item_->currentIndex());
    return {.item = tarvex::KeychainItem::allCases.at(item),
            .user = user_->text().toStdString(),
            .value = value_->text().toStdString()};
  }

 private:
  void layOut() {
    auto* form = new QFormLayout(this);
    form->addRow("&Secret:", item_);
    form->addRow("&User:", user_);
    form->addRow("&Value:", value_);
    form->addRow(new QLabel("A secret of this kind that the user already has is replaced."));
    form->addRow(buttons_);
  }

  void updateButtons() {
    const bool isComplete = !user_->text().isEmpty() && !value_->text().isEmpty();
    buttons_->button(QDialogButtonBox::Save)->setEnabled(isComplete);
  }

  QComboBox* item_ = new QComboBox;
  QLineEdit* user_ = new QLineEdit;
  QLineEdit* value_ = new QLineEdit;
  QDialogButtonBox* buttons_ =
      new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
};

}  // namespace

std::optional<NewSecret> askForSecret(QWidget* parent) {
  SecretDialog dialog(parent);
  if (dialog.exec() != QDialog::Accepted) return std::nullopt;
  return dialog.secret();
}

}  // namespace inspector
