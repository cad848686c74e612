// secret set, get, remove, list, migrate.

#include <algorithm>
#include <map>
#include <memory>

#include "TarvexCommon/Keychain/Keychain.h"
#include "TarvexCommon/Keychain/KeychainIdentifiers.h"
#include "TarvexCommon/Keychain/KeychainPersistence.h"
#include "TarvexCommon/Platform/Services.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {
namespace {

using tarvex::JSONValue;
using tarvex::Keychain;
using tarvex::KeychainError;
using tarvex::KeychainItem;

const std::map<std::string, KeychainItem>& items() {
  static const std::map<std::string, KeychainItem> all = {
      {"password", KeychainItem::password},
      {"containerKey", KeychainItem::containerKey},
      {"accessTokenAPI", KeychainItem::accessTokenAPI},
      {"refreshTokenAPI", KeychainItem::refreshTokenAPI}};
  return all;
}

struct SecretOptions {
  std::string item;
  std::string user;
};

void requireTeam(const Tool& tool) {
  if (!tool.teamPrefix.empty()) return;
  throw BadInput("secrets are shared by a team: give --team-prefix or TARVEX_TEAM_PREFIX");
}

// The item, its place and its name. The catalogue's groups begin with the team's prefix.
struct Secret {
  Secret(const Tool& tool, const SecretOptions& options)
      : item(items().at(options.item)), user(options.user) {
    requireTeam(tool);
    tool.openKeychain();
  }

  Keychain keychain() const {
    return Keychain({.service = item.serviceName(), .access = item.accessGroup()});
  }
  Keychain::ItemName name() const {
    return {.secretID = user, .label = label, .synced = item.isSynced()};
  }

  KeychainItem item;
  std::string user;
  std::string label = item.rawLabel();
};

// Runs `operation`; a `KeychainError` becomes one of the tool's ends.
template <typename Operation>
auto translated(Operation operation) {
  try {
    return operation();
  } catch (const KeychainError& error) {
    using enum KeychainError::Case;
    if (error.errorCase() == itemNotFoundError) throw NotFound("there is no such secret");
    if (error.errorCase() == stringConversionError) throw BadInput("the secret is not UTF-8 text");
    throw Failure(error.what());
  }
}

// The items of a service without their secrets.
std::vector<tarvex::ItemDictionary> itemsOf(const std::string& service) {
  return itemsMatching({{tarvex::kSecClass, tarvex::kSecClassGenericPassword},
                        {tarvex::kSecAttrService, service},
                        {tarvex::kSecAttrSynchronizable, tarvex::kSecAttrSynchronizableAny}});
}

bool set(const Secret& secret) {
  (void)itemsOf(secret.item.serviceName());  // asks for a passphrase before the secret
  const std::string value = readSecret("Secret");
  if (value.empty()) throw BadInput("the secret is empty");
  translated([&] {
    secret.keychain().setItem({.valueData = value,
                               .user = secret.user,
                               .label = secret.label,
                               .synced = secret.item.isSynced(),
                               .accessibility = tarvex::kSecAttrAccessibleAfterFirstUnlock});
  });
  return true;
}

bool get(const Tool& tool, const Secret& secret) {
  const std::string value = translated([&] { return secret.keychain().getItem(secret.name()); });
  tool.print(JSONValue::object({{"secret", value}}), value);
  return true;
}

bool remove(const Secret& secret) {
  translated([&] { secret.keychain().removeItem(secret.name()); });
  return true;
}

std::string textOf(const tarvex::ItemDictionary& item, const char* name) {
  const auto* text = tarvex::find<std::string>(item, name);
  return text == nullptr ? std::string() : *text;
}

bool isSynced(const tarvex::ItemDictionary& item) {
  const bool* synced = tarvex::find<bool>(item, tarvex::kSecAttrSynchronizable);
  return synced != nullptr && *synced;
}

bool listSecrets(const Tool& tool) {
  requireTeam(tool);
  tool.openKeychain();
  std::vector<Tool::Row> rows;
  for (const auto& service :
       {tarvex::TarvexKeychainServices::cloud(), tarvex::TarvexKeychainServices::devices()}) {
    for (const auto& item : itemsOf(service)) {
      const std::string account = textOf(item, tarvex::kSecAttrAccount);
      rows.push_back(
          {JSONValue::object({{"service", service},
                              {"account", account},
                              {"group", textOf(item, tarvex::kSecAttrAccessGroup)},
                              {"synced", isSynced(item)}}),
           service + '\t' + printable(account) + (isSynced(item) ? "\tsynced" : "\tlocal")});
    }
  }
  tool.print(rows);
  return true;
}

// Counts the updates of items on a progress bar, for as long as it lives.
class WatchedChanges {
 public:
  explicit WatchedChanges(std::size_t expected) : progress_("items", expected) {
    tarvex::Services watched = tarvex::services();
    watched.itemService.update = [this, update = watched.itemService.update](const auto& query,
                                                                             const auto& changes) {
      progress_.advance();
      return update(query, changes);
    };
    tarvex::installServices(std::move(watched));
  }
  WatchedChanges(const WatchedChanges&) = delete;
  WatchedChanges& operator=(const WatchedChanges&) = delete;
  ~WatchedChanges() { tarvex::installServices(before_); }

 private:
  tarvex::Services before_ = tarvex::services();
  Progress progress_;
};

bool migrate(const Secret& secret) {
  const auto found = itemsOf(secret.item.serviceName());
  const auto local = std::ranges::count_if(found, [&](const tarvex::ItemDictionary& item) {
    return !isSynced(item) &&
           textOf(item, tarvex::kSecAttrAccount).find(secret.label) != std::string::npos;
  });
  const WatchedChanges watched(static_cast<std::size_t>(local));
  return tarvex::KeychainPersistence::forceSyncMigration(secret.item);
}

}  // namespace

void addSecretCommands(Tool& tool) {
  auto* group = addGroup(tool.app, "secret", "Secrets in the shared keychain");
  const auto options = std::make_shared<SecretOptions>();
  std::vector<std::string> names;
  for (const auto& [name, item] : items()) names.push_back(name);
  const auto add = [&](const char* name, const char* description, auto run) {
    auto* command = tool.command(*group, name, description,
                                 [&tool, options, run] { return run(Secret(tool, *options)); });
    command->add_option("ITEM", options->item, "Kind of secret")
        ->required()
        ->check(CLI::IsMember(names));
    return command;
  };
  const auto ofUser = [&](CLI::App* command) {
    command->add_option("--user", options->user, "Whose secret it is")
        ->required()
        ->check(requireText);
  };
  ofUser(add("set", "Save a secret, from stdin or typed without echo", set));
  ofUser(add("get", "Print a secret", [&tool](const Secret& secret) { return get(tool, secret); }));
  ofUser(add("remove", "Remove a secret", remove));
  add("migrate", "Mark the stored copies of an item as synchronised", migrate);
  tool.command(*group, "list", "List whose secrets there are",
               [&tool] { return listSecrets(tool); });
}

}  // namespace tool
