#include "Store.h"

#include <algorithm>
#include <optional>

#include "Terminal.h"

namespace tool {
namespace {

std::optional<std::string> passphrase(const std::string& file) {
  if (!file.empty()) return firstLine(file);
  if (auto typed = askTerminal("Passphrase of the keychain")) return typed;
  throw Failure("the keychain is locked, and there is no terminal: give --passphrase-file");
}

bool opensByPassphrase(const tarvex::KeychainStoreOptions& options) {
  return hasSlot(tarvex::KeychainStore(options).status(), tarvex::KeySlot::passphrase);
}

}  // namespace

bool hasSlot(const tarvex::KeychainStoreStatus& status, tarvex::KeySlot slot) {
  return std::ranges::find(status.slots, slot) != status.slots.end();
}

// A store that is made with a way to ask opens by a passphrase alone; so it is given one only
// where `--passphrase-file` or the store calls for it.
tarvex::KeychainStore store(const Tool& tool) {
  tarvex::KeychainStoreOptions options{.folder = tool.keychainDir, .mayPrompt = hasTerminal()};
  if (!tool.passphraseFile.empty() || opensByPassphrase(options)) {
    options.passphrase = [file = tool.passphraseFile] { return passphrase(file); };
  }
  return tarvex::KeychainStore(std::move(options));
}

}  // namespace tool
