// What can go wrong with keys and signatures.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Common/LocalizedMessage.h"

namespace tarvex {

class TARVEX_EXPORT CryptoError final : public std::exception {
 public:
  enum class Case {
    secInternalError,  // the key or item service failed, or a signature does not match
    invalidRSLength,   // r or s is not 32 bytes
    invalidSigLength,  // a signature is not 64 bytes
    invalidDerSig,     // a DER signature does not begin with 30
    missingPublicKey,  // a stored private key has no public key
    algoNotSupported,  // the key cannot do this, or is not there
  };

  // `message` is the service's description of the failure.
  static CryptoError secInternalError(std::string message);
  static CryptoError invalidRSLength();
  static CryptoError invalidSigLength();
  static CryptoError invalidDerSig();
  static CryptoError missingPublicKey();
  static CryptoError algoNotSupported();

  Case errorCase() const noexcept { return case_; }

  // The service's description; empty for every case but `secInternalError`.
  std::string_view message() const noexcept { return text_.payload(); }

  // The text for users, in their language.
  std::string errorDescription() const { return text_.localized(); }

  // The same in English.
  const char* what() const noexcept override { return text_.english(); }

  friend bool operator==(const CryptoError& first, const CryptoError& second) noexcept {
    return first.case_ == second.case_ && first.message() == second.message();
  }

 private:
  explicit CryptoError(Case errorCase);
  CryptoError(Case errorCase, std::string payload);

  Case case_;
  LocalizedMessage text_;
};

}  // namespace tarvex
