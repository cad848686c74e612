#include <QApplication>
#include <QClipboard>
#include <QMenuBar>
#include <QMessageBox>
#include <QtTest>

#include "ExpiryInWords.h"
#include "MainWindow.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/Memory/FixedClock.h"
#include "tests/JWT/Example.h"
#include "tests/Support/InstalledServices.h"
#include "tests/Support/RecordingItems.h"

using tarvex::KeychainItem;
using tarvex::KeychainPersistence::getFromKeychain;
using tarvex::KeychainPersistence::saveToKeychain;

namespace {

tarvex::Date at(double seconds) { return tarvex::Date::fromTimeIntervalSince1970(seconds); }

// The application over items in memory: of alice a password and a container key, of bob a
// refresh token.
struct Inspector {
  explicit Inspector(double now = 0)
      : services({.bundle = {.identifier = "com.tarvex.inspector.tests",
                             .infoDictionary = {{"TeamIDPrefix", "A."}}},
                  .itemService = items.service(),
                  .clock = tarvex::fixedClock(at(now))}) {
    saveToKeychain({.value = "correct horse", .user = "alice"}, KeychainItem::password);
    saveToKeychain({.value = "k", .user = "alice"}, KeychainItem::containerKey);
    saveToKeychain({.value = tarvex::example::token, .user = "bob"}, KeychainItem::refreshTokenAPI);
    window = std::make_unique<inspector::MainWindow>();
    window->show();
    QApplication::setActiveWindow(window.get());
  }

  template <typename T>
  T& find(const char* name) const {
    return *window->findChild<T*>(name);
  }
  QTableWidget& table() const { return find<QTableWidget>("secrets"); }
  QString cell(int row, int column) const { return table().item(row, column)->text(); }
  QString value(int row) const { return cell(row, 2); }
  QString label(const char* name) const { return find<QLabel>(name).text(); }
  QString text(const char* name) const { return find<QPlainTextEdit>(name).toPlainText(); }
  QAction& action(const QString& text) const {
    const auto all = window->findChildren<QAction*>();
    return **std::ranges::find_if(all,
                                  [&](auto* each) { return each->text().remove('&') == text; });
  }

  void click(const char* button, int row) const {
    table().selectRow(row);
    QTest::mouseClick(&find<QPushButton>(button), Qt::LeftButton);
  }
  void showService(int index) const { find<QComboBox>("services").setCurrentIndex(index); }
  // The key is given as its owner publishes it; none when it is empty.
  void inspect(const std::string& token, const QString& publicKey = {}) const {
    auto& key = find<QComboBox>("key");
    key.setCurrentIndex(publicKey.isEmpty() ? 0 : key.count() - 1);
    find<QLineEdit>("publicKey").setText(publicKey);
    window->openToken(token);
  }

  tarvex::RecordingItems items;
  tarvex::InstalledServices services;
  std::unique_ptr<inspector::MainWindow> window;
};

// Does `answer` with the dialog that comes next.
template <typename Dialog, typename Answer>
void whenAsked(const Answer& answer) {
  QTimer::singleShot(0, [=] { answer(dynamic_cast<Dialog&>(*QApplication::activeModalWidget())); });
}

std::string unsignedToken(const std::string& claims) {
  return tarvex::example::head + '.' + tarvex::toSegment(claims);
}

// With " for each '.
QString quoted(const char* text) { return QString(text).replace('\'', '"'); }

struct TokenRow {
  std::string token;
  QString publicKey;
  QString verdict;
  QString reason;
  QString expiry;
  double now = 1900000000 - 3 * 3600;  // the example's token expires at 1900000000
};

}  // namespace

class InspectorTests : public QObject {
  Q_OBJECT

 private slots:
  void valuesAreHiddenUntilTheyAreAskedFor() {
    const Inspector shown;
    QCOMPARE(shown.cell(0, 1), "container_key");
    const QString hidden = shown.value(0);
    QCOMPARE(shown.value(1), hidden);  // whatever their lengths
    shown.click("show", 1);
    QCOMPARE(shown.value(1), "correct horse");
    QCOMPARE(shown.value(0), hidden);
    shown.click("show", 1);
    QCOMPARE(shown.value(1), hidden);
  }

  void valuesAreHiddenAgain() {
    const std::pair<const char*, std::function<void(const Inspector&)>> rows[] = {
        {"another secret", [](auto& shown) { shown.table().selectRow(0); }},
        {"another page", [](auto& shown) { shown.action("Token").trigger(); }},
        {"another window", [](auto&) { QApplication::setActiveWindow(nullptr); }},
        {"after a time", [](auto& shown) { shown.template find<QTimer>("hideAgain").start(1); }},
        {"another service", [](auto& shown) { shown.showService(1), shown.showService(0); }}};
    for (const auto& [name, leave] : rows) {
      const Inspector shown;
      shown.click("show", 1);
      QVERIFY(shown.find<QTimer>("hideAgain").isActive());
      leave(shown);
      QTRY_VERIFY2(shown.value(1) != "correct horse", name);
    }
  }

  void secretsAreAddedAndRemoved() {
    const Inspector shown;
    whenAsked<QDialog>([](QDialog& dialog) {
      auto& value = *dialog.findChild<QLineEdit*>("value");
      QTest::keyClicks(dialog.findChild<QLineEdit*>("user"), "carol");
      QTest::keyClicks(&value, "red rose");
      QVERIFY(!value.displayText().contains("rose"));
      QTest::keyClick(&value, Qt::Key_Return);
    });
    shown.click("add", 0);
    QCOMPARE(shown.cell(2, 0), "carol");
    QCOMPARE(getFromKeychain("carol", KeychainItem::password), "red rose");
    whenAsked<QMessageBox>([](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); });
    shown.click("remove", 2);
    QCOMPARE(shown.table().rowCount(), 3);
    whenAsked<QMessageBox>([](QMessageBox& box) {
      for (auto* button : box.buttons()) {
        if (box.buttonRole(button) == QMessageBox::DestructiveRole) button->click();
      }
    });
    shown.click("remove", 2);
    QCOMPARE(shown.table().rowCount(), 2);
  }

  void failuresOfTheKeychainAreShown() {
    Inspector shown;
    shown.items.failures = {{"copyMatching", tarvex::errSecNotAvailable}};
    shown.click("show", 1);
    QVERIFY(shown.label("status").contains("status -25291"));
    QCOMPARE(shown.value(1), shown.value(0));
    shown.action("Reload").trigger();
    QVERIFY(shown.label("status").contains("status -25291"));
    QVERIFY(shown.label("keyProblem").contains("status -25291"));
    QCOMPARE(shown.table().rowCount(), 0);
    shown.items.failures = {{"copyMatching", tarvex::errSecItemNotFound}};
    shown.action("Reload").trigger();
    QCOMPARE(shown.label("status"), "No secret is stored in this service.");
  }

  void tokensAreJudged_data() {
    using namespace tarvex::example;
    const QString key =
        "YP7UuiVanTHJYet0xjVtaMBJuJI7Yfps5mliLmDyn7Y eQP-EAi4vJmkGunpVii8ZPLxsgwtfp9Rd6PClNRGIpk=";
    const QString other =  // RFC 7515, appendix A.3
        "f83OJ3D2xF1Bg8vub9tLe1gHMzV76e8Tus9uPHvRVEU x_FEzRu9m36HLN_tue659LNpXW6pCyStikYjKIWI5a0";
    const QString in3Hours = "2030-03-17T17:46:40Z, expires in 3 hours";
    const QString refusal = "signature verification failed";
    const std::string changed = head + '.' + body + ".A" + signature.substr(1);
    const double later = 1900000000 + 2 * 86400;
    QTest::addColumn<TokenRow>("row");
    const std::pair<const char*, TokenRow> rows[] = {
        {"good", {token, key, "Verified", "", in3Hours}},
        {"white space around it", {" " + token + "\n", key, "Verified", "", in3Hours}},
        {"expired",
         {token, key, "Expired", "the claims have expired",
          "2030-03-17T17:46:40Z, expired 2 days ago", later}},
        {"no key", {token, "", "Unverified", "No key is chosen", in3Hours}},
        {"another key", {token, other, "Not verified", refusal, in3Hours}},
        {"a key that is none", {token, "?", "Not verified", "not base64", in3Hours}},
        {"signature changed", {changed, key, "Not verified", refusal, in3Hours}},
        {"without expiry", {unsignedToken("{}"), "", "Unverified", "", "never expires"}},
        {"not a token", {"hello", key, "Unreadable", "wrong number of segments", ""}},
        {"no \"typ\"", {"eyJhbGciOiJFUzI1NiJ9.e30", "", "Unreadable", "\"typ\"", ""}},
        {"too long", {std::string(10000000, 'a'), "", "Unreadable", "longer than", ""}},
        {"none", {"", "", "No token", "", ""}}};
    for (const auto& [name, row] : rows) QTest::newRow(name) << row;
  }

  void tokensAreJudged() {
    QFETCH(const TokenRow, row);
    const Inspector shown(row.now);
    shown.inspect(row.token, row.publicKey);
    QCOMPARE(shown.label("verdict"), row.verdict);
    QVERIFY2(shown.label("reason").contains(row.reason), qPrintable(shown.label("reason")));
    QCOMPARE(shown.label("expiry"), row.expiry);
  }

  void storedTokensAndKeysAreUsed() {
    const Inspector shown;
    tarvex::Crypto::ECDSA::createKeyPair("device");
    shown.action("Reload").trigger();
    shown.inspect(tarvex::example::record().exportBase64url(tarvex::example::loaded("device")));
    shown.window->tokenPage().chooseKey("device");
    QCOMPARE(shown.label("verdict"), "Verified");
    shown.showService(1);
    shown.click("open", 0);
    QCOMPARE(shown.text("token").toStdString(), tarvex::example::token);
    QCOMPARE(shown.label("verdict"), "Not verified");
  }

  void expiriesAreToldInWords() {
    const std::pair<double, const char*> rows[] = {
        {0, "expires in less than a second"}, {-1, "expired 1 second ago"},
        {119.9, "expires in 119 seconds"},    {120, "expires in 2 minutes"},
        {7199, "expires in 119 minutes"},     {-7200, "expired 2 hours ago"},
        {172800, "expires in 2 days"},        {63071999, "expires in 729 days"},
        {63072000, "expires in 2 years"},     {1e300, "expires in more than 9999 years"}};
    for (const auto& [seconds, words] : rows) {
      QCOMPARE(inspector::expiryInWords(at(1e9 + seconds), at(1e9)), words);
    }
  }

  void claimsAreShownAsTheyStandThere() {
    const Inspector shown;
    shown.inspect(unsignedToken(
        quoted("{'n':12345678901234567890,'n':1.0 ,'t\\\\':'\\',{', 'e':[[ ],{}]}").toStdString()));
    QCOMPARE(shown.text("claims"), quoted("{\n  'n': 12345678901234567890,\n  'n': 1.0,\n"
                                          "  't\\\\': '\\',{',\n"
                                          "  'e': [\n    [],\n    {}\n  ]\n}"));
    shown.inspect(unsignedToken("{\"\u202e\U000e0041\u00a7\":\"<b>\"}"));
    QCOMPARE(shown.text("claims"), quoted("{\n  '\\u202e\\udb40\\udc41\u00a7': '<b>'\n}"));
    shown.inspect(unsignedToken("{\"\u05d0\":1}"));
    QCOMPARE(shown.text("claims"), quoted("{\n  '\u05d0\u200e': 1\n}"));
    std::string deep(500, '[');
    for (int i = 0; i < 3000; ++i) deep += "0,";
    shown.inspect(unsignedToken(deep + '0' + std::string(500, ']')));
    const auto size = shown.text("claims").size();
    QVERIFY(6000 < size && size < 200000);
  }

  void foreignTextIsPlainText() {
    const Inspector shown;
    saveToKeychain({.value = "v", .user = "<b>\u202e\n"}, KeychainItem::password);
    shown.action("Reload").trigger();
    QCOMPARE(shown.cell(0, 0), "<b>\\u202e\\u000a");
    for (const char* label : {"status", "verdict", "reason", "expiry", "keyProblem"}) {
      QCOMPARE(shown.find<QLabel>(label).textFormat(), Qt::PlainText);
    }
  }

  void longPastesAreCut() {
    const Inspector shown;
    QApplication::clipboard()->setText(QString(10000000, 'a'));
    shown.find<QPlainTextEdit>("token").paste();
    QVERIFY(shown.text("token").size() < 20000);
    QVERIFY(shown.label("reason").contains("longer than"));
  }

  void alternatesAreShownWhileAltIsHeld() {
    const Inspector shown;
    QAction& alternate = shown.action("Copy Claims as JSON");
    QMenu& menu = *shown.action("Edit").menu();
    QVERIFY(!alternate.isVisible());
    QTest::keyPress(shown.window.get(), Qt::Key_Alt);
    QVERIFY(alternate.isVisible());
    QTest::keyRelease(shown.window.get(), Qt::Key_Alt);
    QVERIFY(!alternate.isVisible());
    menu.popup({});
    QTest::keyPress(&menu, Qt::Key_Alt);
    QVERIFY(menu.isVisible() && menu.rect().contains(menu.actionGeometry(&alternate)));
    QTest::keyRelease(&menu, Qt::Key_Alt);
    QVERIFY(menu.isVisible() && !alternate.isVisible());
    QTest::keyPress(&menu, Qt::Key_Alt);
    QApplication::setActiveWindow(nullptr);
    QVERIFY(!alternate.isVisible());
  }

  void itemsAreEnabledByTheirTags() {
    const Inspector shown;
    QAction& copy = shown.action("Copy Token");
    QAction& copyClaims = shown.action("Copy Claims as JSON");
    QTest::keyPress(shown.window.get(), Qt::Key_Alt);
    shown.action("Reload").setEnabled(false);
    for (const char* menu : {"View", "Edit"}) shown.action(menu).menu()->popup({});
    QVERIFY(!shown.action("Print Widgets").isEnabled());
    QVERIFY(!shown.action("Print Widgets with Properties").isVisible());
    QVERIFY(shown.action("Reload").isEnabled());
    QVERIFY(!copy.isEnabled() && !copyClaims.isEnabled());
    shown.inspect("hello");
    QVERIFY(copy.isEnabled() && !copyClaims.isEnabled());
    shown.inspect(unsignedToken("{}"));
    QVERIFY(copy.isEnabled() && copyClaims.isEnabled());
    copyClaims.trigger();
    QCOMPARE(QApplication::clipboard()->text(), "{}");
  }
};

QTEST_MAIN(InspectorTests)
#include "InspectorTests.moc"
