// A window for the team's keychain and tokens: which secrets are stored, what a token says,
// and whether to believe it.

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>

#include "Demo.h"
#include "MainWindow.h"
#include "TarvexCommon/Platform/Memory/MemoryItemService.h"
#include "TarvexCommon/Platform/Services.h"

namespace {

constexpr char identifier[] = "com.tarvex.inspector";

// The prefix is the one that all applications of the team share.
tarvex::Bundle bundle() {
  const std::string prefix =
      qEnvironmentVariable("TARVEX_TEAM_PREFIX", "ABCDE12345.").toStdString();
  return {.identifier = identifier, .infoDictionary = {{"TeamIDPrefix", prefix}}};
}

bool asksForDemo(const QApplication& application) {
  const QCommandLineOption demo("demo", "Show examples in memory, not the user's keychain.");
  QCommandLineParser parser;
  parser.setApplicationDescription("Shows the secrets in the keychain, and what tokens say.");
  parser.addHelpOption();
  parser.addOption(demo);
  parser.process(application);
  return parser.isSet(demo);
}

int showDemo() {
  tarvex::installServices({.bundle = bundle(), .itemService = tarvex::memoryItemService()});
  const std::string token = inspector::storeExamples();
  inspector::MainWindow window(
      "Demonstration: these secrets, keys and tokens are examples. Nothing is kept.");
  window.openToken(token);
  window.tokenPage().chooseKey(inspector::demoKey);
  window.show();
  return QApplication::exec();
}

int showKeychain() {
  tarvex::installServices({.bundle = bundle()});
  inspector::MainWindow window;
  window.show();
  return QApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QApplication::setApplicationName("tarvex-inspector");
  QApplication::setDesktopFileName(identifier);
  QApplication::setWindowIcon(QIcon::fromTheme(identifier));
  return asksForDemo(application) ? showDemo() : showKeychain();
}
