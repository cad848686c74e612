#include "TarvexCommon/Keychain/KeychainError.h"

#include <array>
#include <utility>

namespace tarvex {
namespace {

constexpr std::array<LocalizedText, 6> texts = {
    // TRANSLATORS: %@ is the system's own description of the failure.
    LocalizedText("KEYCHAIN_UNHANDLED", "unhandled error: %@", "unhandled error"),
    LocalizedText("KEYCHAIN_STRING_ERR", "String to Data conversion error",
                  "String to Data conversion error"),
    LocalizedText("KEYCHAIN_DATA_ERR", "Data to String conversion error",
                  "Data to String conversion error"),
    LocalizedText("KEYCHAIN_ITEMDNE_ERR", "Could not find the requested item in Keychain.",
                  "Could not find the requested item in Keychain."),
    LocalizedText("KEYCHAIN_ITEMSAVE_ERR", "Could not save the requested item in Keychain.",
                  "Could not save the requested item in Keychain."),
    LocalizedText("KEYCHAIN_ITEMUPDATE_ERR", "Could not update item in Keychain",
                  "Could not update item in Keychain"),
};

const LocalizedText& textOf(KeychainError::Case errorCase) {
  return texts[static_cast<std::size_t>(errorCase)];
}

}  // namespace

KeychainError::KeychainError(Case errorCase) : case_(errorCase), text_(textOf(errorCase)) {}

KeychainError::KeychainError(Case errorCase, std::string payload)
    : case_(errorCase), text_(textOf(errorCase), std::move(payload)) {}

KeychainError KeychainError::unhandledError(std::string message) {
  return {Case::unhandledError, std::move(message)};
}

KeychainError KeychainError::stringConversionError() {
  return KeychainError(Case::stringConversionError);
}

KeychainError KeychainError::dataConversionError() {
  return KeychainError(Case::dataConversionError);
}

KeychainError KeychainError::itemNotFoundError() { return KeychainError(Case::itemNotFoundError); }
KeychainError KeychainError::itemNotSavedError() { return KeychainError(Case::itemNotSavedError); }
KeychainError KeychainError::updateError() { return KeychainError(Case::updateError); }

}  // namespace tarvex
