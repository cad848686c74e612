// keychain status, check, repair, backup, slot add, slot change, slot remove.

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Store.h"
#include "Terminal.h"
#include "Tool.h"

namespace tool {
namespace {

using tarvex::JSONValue;
using tarvex::KeychainStoreStatus;
using tarvex::KeySlot;

const std::map<std::string, KeySlot> slotNames = {{"passphrase", KeySlot::passphrase},
                                                  {"file", KeySlot::file},
                                                  {"secret-service", KeySlot::secretService}};

const std::string& nameOf(KeySlot slot) {
  return std::ranges::find(slotNames, slot, &decltype(slotNames)::value_type::second)->first;
}

// What became of the latest changes.
std::string lossOf(const KeychainStoreStatus& status) {
  const auto count = status.lostChanges.value_or(0);
  if (count == 0) return "its latest changes may be lost: keychain.count is lost or damaged";
  return "its latest " + std::to_string(count) +
         (count == 1 ? " change is lost" : " changes are lost");
}

void requireNoLoss(const KeychainStoreStatus& status) {
  if (!status.lostChanges) return;
  throw Failure(lossOf(status) + "; \"tarvex keychain repair\" goes on with what is left");
}

bool status(const Tool& tool) {
  const auto status = store(tool).status();
  requireNoLoss(status);
  require(status.answer);
  if (!status.isThere) {
    tool.print(JSONValue::object({{"folder", status.folder}, {"exists", false}}),
               status.folder + ": no keychain yet");
    return true;
  }
  std::vector<JSONValue::Element> slots;
  std::string names;
  for (const KeySlot slot : status.slots) {
    slots.emplace_back(nameOf(slot));
    names += (names.empty() ? "" : ", ") + nameOf(slot);
  }
  tool.print(JSONValue::object({{"folder", status.folder},
                                {"exists", true},
                                {"items", status.itemCount},
                                {"bytes", status.bytes},
                                {"format", status.formatVersion},
                                {"slots", JSONValue::array(slots)}}),
             "folder    " + status.folder + "\nitems     " + std::to_string(status.itemCount) +
                 "\nbytes     " + std::to_string(status.bytes) + "\nformat    " +
                 std::to_string(status.formatVersion) + "\nopens by  " + names);
  return true;
}

bool check(const Tool& tool) {
  const auto keychain = store(tool);
  requireNoLoss(keychain.status());
  require(keychain.check());
  tool.print(JSONValue::object({{"sound", true}}), "sound");
  return true;
}

bool repair(const Tool& tool) {
  const auto keychain = store(tool);
  const auto before = keychain.status();
  if (!before.lostChanges) {
    require(before.answer);
    tool.print(JSONValue::object({{"repaired", false}}), "no change is lost");
    return true;
  }
  require(keychain.acceptLoss());
  const std::optional<JSONValue> count = *before.lostChanges;
  tool.print(JSONValue::object(
                 {{"repaired", true}, {"lost", *before.lostChanges == 0 ? std::nullopt : count}}),
             lossOf(before) + "; the keychain goes on with what is left");
  return true;
}

bool backup(const Tool& tool, const std::string& file) {
  if (!std::filesystem::is_directory(std::filesystem::absolute(file).parent_path())) {
    throw BadInput(file + ": its folder is not there");
  }
  const auto from = store(tool);
  const auto status = from.backup(file);
  if (status == tarvex::errSecDuplicateItem) throw BadInput(file + " is there already");
  if (status == tarvex::errSecParam) throw BadInput("the copy has no file name");
  require(status);
  const auto made = from.status();
  if (hasSlot(made, KeySlot::file)) {
    std::fputs("tarvex: the copy opens by the key file too: keep keychain.key apart from it\n",
               stderr);
  }
  if (made.slots == std::vector{KeySlot::secretService}) {
    std::fputs("tarvex: the copy opens by this desktop's keyring only\n", stderr);
  }
  return true;
}

std::optional<std::string> typedPassphrase() {
  auto first = askTerminal("New passphrase");
  if (!first) throw BadInput("there is no terminal: give --new-passphrase-file");
  if (askTerminal("Again") != first) throw BadInput("the passphrases differ");
  return first;
}

struct SlotOptions {
  std::string slot;
  std::string newPassphraseFile;
};

tarvex::AskForPassphrase newPassphrase(const SlotOptions& options) {
  return [&file = options.newPassphraseFile] {
    auto answer = file.empty() ? typedPassphrase() : firstLine(file);
    if (answer && answer->empty()) throw BadInput("the new passphrase is empty");
    return answer;
  };
}

bool addSlot(const Tool& tool, const SlotOptions& options) {
  const auto status = store(tool).addSlot(slotNames.at(options.slot), newPassphrase(options));
  if (status == tarvex::errSecDuplicateItem) throw BadInput("the keychain has that slot already");
  require(status);
  return true;
}

bool changeSlot(const Tool& tool, const SlotOptions& options) {
  require(store(tool).changePassphrase(newPassphrase(options)));
  return true;
}

bool removeSlot(const Tool& tool, const SlotOptions& options) {
  const auto status = store(tool).removeSlot(slotNames.at(options.slot));
  if (status == tarvex::errSecParam) throw BadInput("it is the last way to open the keychain");
  require(status);
  return true;
}

}  // namespace

void addKeychainCommands(Tool& tool) {
  auto* group = addGroup(tool.app, "keychain", "Inspect and maintain the keychain");
  tool.command(*group, "status", "Show its folder, size and key slots",
               [&tool] { return status(tool); });
  tool.command(*group, "check", "Verify the integrity of everything in it",
               [&tool] { return check(tool); });
  tool.command(*group, "repair", "Go on with it when its latest changes are lost",
               [&tool] { return repair(tool); });
  const auto file = std::make_shared<std::string>();
  tool.command(*group, "backup", "Write a consistent copy of it",
               [&tool, file] { return backup(tool, *file); })
      ->add_option("FILE", *file, "A file that is not there yet")
      ->required()
      ->check(requireText);

  auto* slots = addGroup(*group, "slot", "Key slots: what opens the keychain");
  const auto options = std::make_shared<SlotOptions>();
  const auto addCommand = [&](const char* name, const char* description, auto run,
                              const std::vector<std::string>& names) {
    auto* command = tool.command(*slots, name, description,
                                 [&tool, options, run] { return run(tool, *options); });
    command->add_option("SLOT", options->slot, "passphrase, file or secret-service")
        ->required()
        ->check(CLI::IsMember(names));
    return command;
  };
  const auto takesPassphrase = [&](CLI::App* command) {
    command
        ->add_option("--new-passphrase-file", options->newPassphraseFile,
                     "File with the new passphrase (- for stdin); otherwise it is typed")
        ->type_name("FILE");
  };
  const std::vector<std::string> every = {"passphrase", "file", "secret-service"};
  takesPassphrase(addCommand("add", "Add a key slot", addSlot, every));
  takesPassphrase(addCommand("change", "Replace the passphrase", changeSlot, {"passphrase"}));
  addCommand("remove", "Remove a key slot; the last one stays", removeSlot, every);
}

}  // namespace tool
