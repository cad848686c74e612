#include "ItemsPage.h"

#include <QBoxLayout>
#include <QEvent>
#include <QHeaderView>
#include <QMessageBox>
#include <chrono>
#include <utility>

#include "SecretDialog.h"
#include "Text.h"

namespace inspector {
namespace {

enum Column { userColumn, labelColumn, valueColumn, syncedColumn };

// As many for every value: their number says nothing of its length.
const QString bullets(8, QChar(0x2022));

bool isConfirmed(QWidget* parent, const Secret& secret) {
  QMessageBox box(QMessageBox::Warning, "Remove Secret",
                  inOneLine("Remove the secret \"" + secret.label + "\" of " + secret.user + "?"),
                  QMessageBox::Cancel, parent);
  box.setTextFormat(Qt::PlainText);
  box.setInformativeText("It cannot be restored.");
  const auto* remove = box.addButton("&Remove", QMessageBox::DestructiveRole);
  box.setDefaultButton(QMessageBox::Cancel);
  box.exec();
  return box.clickedButton() == remove;
}

QString inWords(std::size_t count) {
  if (count == 0) return "No secret is stored in this service.";
  return QString::number(count) + (count == 1 ? " secret" : " secrets");
}

}  // namespace

ItemsPage::ItemsPage(std::function<void(const std::string& value)> openAsToken)
    : openAsToken_(std::move(openAsToken)) {
  for (const std::string& service : services()) {
    services_->addItem(QString::fromStdString(service));
  }
  nameAll();
  makeTable();
  connectAll();
  layOut();
  reload();
}

void ItemsPage::nameAll() {
  services_->setObjectName("services");
  table_->setObjectName("secrets");
  show_->setObjectName("show");
  open_->setObjectName("open");
  add_->setObjectName("add");
  remove_->setObjectName("remove");
  hideAgain_->setObjectName("hideAgain");
}

void ItemsPage::makeTable() {
  table_->setColumnCount(4);
  table_->setHorizontalHeaderLabels({"User", "Kind", "Value", "Synchronised"});
  table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
  table_->horizontalHeader()->setSectionResizeMode(valueColumn, QHeaderView::Stretch);
  table_->horizontalHeader()->setMinimumSectionSize(110);
  table_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  table_->horizontalHeader()->setHighlightSections(false);
  table_->verticalHeader()->hide();
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setSelectionMode(QAbstractItemView::SingleSelection);
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setTabKeyNavigation(false);
  table_->setWordWrap(false);
  table_->setShowGrid(false);
  table_->setAccessibleName("Secrets");
}

void ItemsPage::connectAll() {
  hideAgain_->setSingleShot(true);
  hideAgain_->setInterval(std::chrono::seconds(30));
  connect(hideAgain_, &QTimer::timeout, this, &ItemsPage::conceal);
  connect(services_, &QComboBox::currentIndexChanged, this, &ItemsPage::reload);
  connect(table_, &QTableWidget::itemSelectionChanged, this, &ItemsPage::conceal);
  connect(show_, &QPushButton::clicked, this, [this] { isRevealed() ? conceal() : reveal(); });
  connect(open_, &QPushButton::clicked, this, &ItemsPage::openValue);
  connect(add_, &QPushButton::clicked, this, &ItemsPage::addSecret);
  connect(remove_, &QPushButton::clicked, this, &ItemsPage::removeSecret);
}

void ItemsPage::layOut() {
  auto* top = new QHBoxLayout;
  top->addWidget(labelFor(services_, "Servi&ce:"));
  top->addWidget(services_);
  top->addStretch();
  auto* bottom = new QHBoxLayout;
  for (QPushButton* button : {show_, open_}) bottom->addWidget(button);
  bottom->addStretch();
  for (QPushButton* button : {add_, remove_}) bottom->addWidget(button);
  auto* all = new QVBoxLayout(this);
  all->addLayout(top);
  all->addWidget(table_);
  all->addLayout(bottom);
  all->addWidget(status_);
}

template <typename Operation>
bool ItemsPage::attempt(const Operation& operation) {
  try {
    operation();
    status_->setText(inWords(secrets_.size()));
    return true;
  } catch (const tarvex::KeychainError& error) {
    status_->setText(visibly(error.errorDescription()));
    return false;
  }
}

void ItemsPage::reload() {
  secrets_.clear();
  attempt([&] { secrets_ = secretsOf(services_->currentText().toStdString()); });
  fillTable();
}

void ItemsPage::fillTable() {
  table_->clearSelection();
  table_->setRowCount(static_cast<int>(secrets_.size()));
  int row = 0;
  for (const Secret& secret : secrets_) {
    table_->setItem(row, userColumn, new QTableWidgetItem(inOneLine(secret.user)));
    table_->setItem(row, labelColumn, new QTableWidgetItem(inOneLine(secret.label)));
    table_->setItem(row, valueColumn, new QTableWidgetItem(bullets));
    table_->setItem(row, syncedColumn, new QTableWidgetItem(secret.isSynced ? "yes" : "no"));
    ++row;
  }
  conceal();
}

void ItemsPage::reveal() {
  attempt([&] {
    const int row = table_->currentRow();
    table_->item(row, valueColumn)->setText(inOneLine(valueOf(selected())));
    revealed_ = row;
    hideAgain_->start();
  });
  updateButtons();
}

void ItemsPage::conceal() {
  if (isRevealed()) table_->item(revealed_, valueColumn)->setText(bullets);
  revealed_ = -1;
  updateButtons();
}

void ItemsPage::updateButtons() {
  show_->setText(isRevealed() ? "&Hide" : "S&how");
  const bool isOneSelected = !table_->selectedItems().isEmpty();
  for (QPushButton* button : {show_, open_, remove_}) button->setEnabled(isOneSelected);
}

void ItemsPage::openValue() {
  attempt([&] { openAsToken_(valueOf(selected())); });
}

void ItemsPage::addSecret() {
  const auto secret = askForSecret(this);
  if (!secret) return;
  services_->setCurrentText(QString::fromStdString(secret->item.serviceName()));
  if (attempt([&] { save(*secret); })) reload();
}

void ItemsPage::removeSecret() {
  if (!isConfirmed(this, selected())) return;
  if (attempt([&] { remove(selected()); })) reload();
}

bool ItemsPage::event(QEvent* event) {
  if (event->type() == QEvent::WindowDeactivate) conceal();
  return QWidget::event(event);
}

void ItemsPage::hideEvent(QHideEvent* event) {
  conceal();
  QWidget::hideEvent(event);
}

}  // namespace inspector
