// Passwords of the time before synchronisation become synchronised items.

#include <algorithm>
#include <string>
#include <vector>

#include "Road.h"
#include "TarvexCommon/Keychain/Keychain.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"

namespace road {
namespace {

using tarvex::KeychainItem;

struct Password {
  std::string account;
  bool synchronised;
  tarvex::Data value;

  friend bool operator==(const Password&, const Password&) = default;
};

tarvex::Keychain devices() {
  return tarvex::Keychain({.service = KeychainItem::password.serviceName(),
                           .access = KeychainItem::password.accessGroup()});
}

void save(std::string_view user, bool synchronised, std::string_view value) {
  devices().setItem({.valueData = value,
                     .user = user,
                     .label = KeychainItem::password.rawLabel(),
                     .synced = synchronised,
                     .accessibility = tarvex::kSecAttrAccessibleAfterFirstUnlock});
}

std::vector<Password> passwords() {
  std::vector<Password> result;
  for (const tarvex::ItemDictionary& item : devices().getAllItems()) {
    result.push_back({.account = *item.at(tarvex::kSecAttrAccount).get<std::string>(),
                      .synchronised = *item.at(tarvex::kSecAttrSynchronizable).get<bool>(),
                      .value = *item.at(tarvex::kSecValueData).get<tarvex::Data>()});
  }
  return result;
}

void show(std::string_view title, const std::vector<Password>& list) {
  say(title);
  for (const auto& [account, synchronised, value] : list) {
    std::string line = "    " + account;
    line.resize(24, ' ');
    line += synchronised ? "synchronised      \"" : "not synchronised  \"";
    say(line + std::string(tarvex::Bytes(value).text()) + '"');
  }
}

// What the migration should leave: bob's item is a synchronised one now, carol's old copy is
// gone, everything else is as it was, and no value has changed.
std::vector<Password> migrated(std::vector<Password> list) {
  std::erase_if(list, [](const Password& password) {
    return password.account == "carol:password" && !password.synchronised;
  });
  std::ranges::find(list, "bob:password", &Password::account)->synchronised = true;
  return list;
}

std::vector<std::string> textsIn(const std::vector<Password>& list) {
  std::vector<std::string> texts;
  for (const Password& password : list) {
    texts.push_back(password.account);
    texts.emplace_back(tarvex::Bytes(password.value).text());
  }
  return texts;
}

std::vector<Password> saveOldPasswords() {
  save("bob", false, "correct horse");
  save("carol", false, "yellow tulip");
  save("carol", true, "red rose");
  save("dave:old", false, "first of May");
  save("dave:old", true, "second of May");
  return passwords();
}

}  // namespace

void migratePasswords(const tarvex::RecordingLog& log, const std::filesystem::path& folder) {
  step("7. Old passwords become synchronised ones.");
  const std::vector<Password> before = saveOldPasswords();
  show("  before:", before);

  const std::size_t lines = log.messages().size();
  const bool done = tarvex::KeychainPersistence::forceSyncMigration(KeychainItem::password);
  const std::vector<Password> after = passwords();
  show("  after:", after);
  expect(after == migrated(before), "the migration left something else");
  say("  bob's was turned into a synchronised one, carol's old copy made way for the one she had,");
  say("  and the values of those that are left are the same bytes as before.");

  expect(!done && log.messages().size() == lines + 1, "the migration did not say what it left");
  say("  \"dave:old:password\" is not a user and a label: the answer is false, and the log says");
  say("    " + log.messages().back());
  expectSealed("accounts and passwords", folder, textsIn(before));
}

}  // namespace road
