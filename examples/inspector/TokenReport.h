// What a text says that somebody took for a token, and whether to believe it.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/JWT/JWT.h"

namespace inspector {

// The key that a token is checked with.
struct KeyChoice {
  enum class Kind { none, label, publicKey };

  Kind kind = Kind::none;
  // The label of a stored pair; or a public key in base64 or base64url, its coordinates x and y
  // with a space between them or its external form (04, X, Y).
  std::string text = {};
};

// What is read once; what time makes of it is asked for below.
struct TokenReport {
  enum class State { noToken, unreadable, unverified, refused, verified };

  State state = State::noToken;
  std::string reason = {};  // why it is unreadable or refused, for users
  std::string header = {};  // indented JSON, empty where there is none; anybody may have written
  std::string claims = {};  // what stands in these two
  std::optional<tarvex::JWT> token = {};  // unless it is unreadable
};

// In bytes. Longer texts are unreadable, and not looked at.
inline constexpr std::size_t longestToken = 16384;

TokenReport inspect(std::string_view text, const KeyChoice& choice);

struct Verdict {
  enum class Kind { none, good, doubtful, bad };

  Kind kind = Kind::none;
  std::string title = {};
  std::string reason = {};

  friend bool operator==(const Verdict&, const Verdict&) = default;
};

// Both by the clock in use.
Verdict verdict(const TokenReport& report);
std::string expiry(const TokenReport& report);  // empty for an unreadable token

}  // namespace inspector
