// What is made on first use, once in a process: each test has processes of its own.
#include <gtest/gtest.h>

#include <cstdlib>

#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Common/DefaultLog.h"
#include "TarvexCommon/Common/TarvexAppGroups.h"
#include "tests/Support/InstalledServices.h"

namespace tarvex {
namespace {

const std::string noValue =
    "Fatal error: Unexpectedly found nil while unwrapping an Optional value";

// Returns what the log sends to the sink under a bundle with this identifier.
std::vector<LogRecord> recordsUnder(const std::optional<std::string>& identifier) {
  const InstalledServices installed({.bundle = {.identifier = identifier}});
  defaultLog().log("100%s\n");
  return installed.log.records();
}

TEST(DefaultLogDeathTest, KeepsItsIdentifierAndWritesToTheSinkInUse) {
  const auto logTwice = [] {
    const std::vector<LogRecord> expected = {{"com.example.notes", "default", "100%s\n"}};
    const bool isKept = recordsUnder("com.example.notes") == expected &&
                        recordsUnder("com.example.other") == expected;
    std::_Exit(isKept ? 0 : 1);
  };
  EXPECT_EXIT(logTwice(), testing::ExitedWithCode(0), "");
}

TEST(DefaultLogDeathTest, StopsWithoutAnIdentifier) {
  EXPECT_DEATH(recordsUnder(std::nullopt), noValue);
}

using Information = std::map<std::string, std::string>;

Information prefix(const char* value) { return {{"TeamIDPrefix", value}}; }

// Reads the identifier under each of these, one after the other, and leaves.
void readUnder(const std::vector<Information>& all, void (*leave)(int) = std::_Exit) {
  for (const Information& information : all) {
    installServices({.bundle = {.infoDictionary = information}});
    std::fputs("installed ", stderr);
    std::fprintf(stderr, "<%s>", TarvexAppGroups::common().c_str());
  }
  (void)JSONDecoder().decode<double>("1");
  leave(0);
}

TEST(TarvexAppGroupsDeathTest, JoinsPrefixAndNameOnce) {
  const auto ended = testing::ExitedWithCode(0);
  EXPECT_EXIT(readUnder({prefix("X1.")}), ended, "<X1\\.group\\.com\\.tarvex>");
  EXPECT_EXIT(readUnder({prefix("X1")}), ended, "<X1group\\.com\\.tarvex>");
  EXPECT_EXIT(readUnder({prefix("X1."), prefix("Y2."), {}}), ended,
              "<X1\\.group.*<X1\\.group.*<X1\\.group");
}

TEST(TarvexAppGroupsDeathTest, StopsAtTheFirstReadWithoutAPrefix) {
  EXPECT_DEATH(readUnder({Information()}), "installed .*" + noValue);
  EXPECT_DEATH(readUnder({{{"Other", "X1."}}}), "installed .*" + noValue);
}

// What the library makes once must outlive the static objects of a host, whose
// destructors may still use it.
struct LastUser {
  ~LastUser() {
    if (TarvexAppGroups::common().empty() || JSONDecoder().decode<double>("1.5") != 1.5) return;
    std::fputs("used at exit", stderr);
  }
};

TEST(AtExitDeathTest, TheLibraryIsStillThere) {
  const auto useAndExit = [] {
    static const LastUser last;
    readUnder({prefix("X1.")}, [](int status) { std::exit(status); });
  };
  EXPECT_EXIT(useAndExit(), testing::ExitedWithCode(0), "used at exit");
}

}  // namespace
}  // namespace tarvex
