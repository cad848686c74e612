// What can be wrong with a token.
#pragma once

#include <cstddef>
#include <exception>
#include <functional>
#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Common/LocalizedMessage.h"

namespace tarvex {

class TARVEX_EXPORT JWTError final : public std::exception {
 public:
  enum class Case {
    invalidSegmentCount,  // not two or three segments
    decodeFailed,         // a segment is not base64url
    encodeFailed,         // for hosts that make tokens of their own; not thrown here
    verificationFailed,   // not signed by the key, or no key to check it with
    claimsExpired,        // "exp" is in the past
  };

  static JWTError invalidSegmentCount();
  static JWTError decodeFailed();
  static JWTError encodeFailed();
  static JWTError verificationFailed();
  static JWTError claimsExpired();

  Case errorCase() const noexcept { return case_; }

  // The text for users, in their language.
  std::string errorDescription() const { return text_.localized(); }

  // The same in English.
  const char* what() const noexcept override { return text_.english(); }

  friend bool operator==(const JWTError& first, const JWTError& second) noexcept {
    return first.case_ == second.case_;
  }

 private:
  explicit JWTError(Case errorCase);

  Case case_;
  LocalizedMessage text_;
};

}  // namespace tarvex

template <>
struct std::hash<tarvex::JWTError> {
  std::size_t operator()(const tarvex::JWTError& error) const noexcept {
    return static_cast<std::size_t>(error.errorCase());
  }
};
