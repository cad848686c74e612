#include <gtest/gtest.h>

#include "TarvexCommon/Platform/Bundle.h"
#include "TarvexCommon/Platform/TeamIDPrefix.h"
#include "tests/Support/InstalledServices.h"

namespace tarvex {
namespace {

using Texts = std::vector<std::string>;

TEST(KeychainAccessGroups, AreTheGivenOnesOrThoseOfTheTeam) {
  const std::optional<std::string> notes = "com.example.notes";
  const std::map<std::string, std::string> team = {{"TeamIDPrefix", "X1."}};
  const struct {
    const char* name;
    Bundle bundle;
    Texts groups;
  } rows[] = {
      {"given", {notes, team, {{"b", "a"}}}, {"b", "a"}},
      {"given, none", {notes, team, Texts()}, {}},
      {"the team's",
       {notes, team},
       {"X1.com.example.notes", "X1.com.tarvex.cloud", "X1.com.tarvex.devices"}},
      {"no identifier", {std::nullopt, team}, {"X1.com.tarvex.cloud", "X1.com.tarvex.devices"}},
      {"no information", {notes}, {""}},
      {"no prefix", {notes, {{"Other", "X1."}}}, {""}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const InstalledServices installed({.bundle = row.bundle});
    EXPECT_EQ(keychainAccessGroups(), row.groups);
  }
}

TEST(TeamIDPrefixDeathTest, IsThatOfTheBundleInUse) {
  const InstalledServices installed({.bundle = {.infoDictionary = {{"TeamIDPrefix", "Y2"}}}});
  EXPECT_EQ(teamIDPrefix(), "Y2");
  const Bundle lacking[] = {{}, {.infoDictionary = {{"teamidprefix", "X1."}}}};
  for (const Bundle& bundle : lacking) {
    installServices({.bundle = bundle});
    EXPECT_DEATH(teamIDPrefix(),
                 "Fatal error: Unexpectedly found nil while unwrapping an Optional value");
  }
}

}  // namespace
}  // namespace tarvex
