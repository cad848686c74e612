#include "Store.h"

#include <algorithm>
#include <optional>

#include "Terminal.h"

namespace tool {
namespace {

std::optional<std::string> passphrase(const std::string& file) {
  return file.empty() ? askTerminal("Passphrase of the keychain") : firstLine(file);
}

}  // namespace

bool hasSlot(const tarvex::KeychainStoreStatus& status, tarvex::KeySlot slot) {
  return std::ranges::find(status.slots, slot) != status.slots.end();
}

// A new store that can ask for a passphrase opens by it alone, so only those can that have one
// and those that were told where it is.
tarvex::KeychainStore store(const Tool& tool) {
  tarvex::KeychainStoreOptions options{.folder = tool.keychainDir};
  const auto status = tarvex::KeychainStore(options).status();
  if (!tool.passphraseFile.empty() || hasSlot(status, tarvex::KeySlot::passphrase)) {
    options.passphrase = [file = tool.passphraseFile] { return passphrase(file); };
  }
  return tarvex::KeychainStore(std::move(options));
}

}  // namespace tool
