// What can go wrong with secrets in the keychain.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Common/LocalizedMessage.h"

namespace tarvex {

class TARVEX_EXPORT KeychainError final : public std::exception {
 public:
  enum class Case {
    unhandledError,         // the item service failed
    stringConversionError,  // the secret is not UTF-8
    dataConversionError,    // what was found or given is not UTF-8 text
    itemNotFoundError,      // there is no such item
    itemNotSavedError,      // the secret could not be saved, for whatever reason
    updateError,            // the item could not be changed, for whatever reason
  };

  // `message` is the item service's text for its status.
  static KeychainError unhandledError(std::string message);
  static KeychainError stringConversionError();
  static KeychainError dataConversionError();
  static KeychainError itemNotFoundError();
  static KeychainError itemNotSavedError();
  static KeychainError updateError();

  Case errorCase() const noexcept { return case_; }

  // The item service's text; empty for every case but `unhandledError`.
  std::string_view message() const noexcept { return text_.payload(); }

  // The text for users, in their language.
  std::string errorDescription() const { return text_.localized(); }

  // The same in English, but for what `message` says.
  const char* what() const noexcept override { return text_.english(); }

  friend bool operator==(const KeychainError& first, const KeychainError& second) noexcept {
    return first.case_ == second.case_ && first.message() == second.message();
  }

 private:
  explicit KeychainError(Case errorCase);
  KeychainError(Case errorCase, std::string payload);

  Case case_;
  LocalizedMessage text_;
};

}  // namespace tarvex
