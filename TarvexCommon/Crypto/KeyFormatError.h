// Why a text is not read as a key, or bytes are not written as one.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

//   case        example of what()
//   notAKey     the text is neither PEM nor a JWK
//   encrypted   the private key is encrypted; decrypt it first
//   wrongType   the type is RSA; only P-256 keys can be used
//   wrongCurve  the curve is P-384; only P-256 keys can be used
//   malformed   "x" of the JWK is not 32 bytes in base64url without padding
//   invalid     the private key does not match the public key
class TARVEX_EXPORT KeyFormatError final : public std::exception {
 public:
  enum class Case { notAKey, encrypted, wrongType, wrongCurve, malformed, invalid };

  KeyFormatError(Case errorCase, std::string description);

  // `name` may be any text; one that cannot be shown to users is left out.
  static KeyFormatError wrongType(std::string_view name);
  static KeyFormatError wrongBlock(std::string_view name);  // of PEM; `wrongType`
  static KeyFormatError wrongCurve(std::string_view name);

  Case errorCase() const noexcept { return case_; }

  // In English. Has no part of a private key in it.
  const char* what() const noexcept override { return description_->c_str(); }

  friend bool operator==(const KeyFormatError& first, const KeyFormatError& second) noexcept {
    return first.case_ == second.case_ && *first.description_ == *second.description_;
  }

 private:
  Case case_;
  std::shared_ptr<const std::string> description_;  // copying an exception must not throw
};

}  // namespace tarvex
