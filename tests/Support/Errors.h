// Errors as values and as texts.
#pragma once

#include <concepts>
#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include "TarvexCommon/Base/JSON/CodingError.h"

namespace tarvex {

// Returns the `Error` that `operation` throws, or nothing.
template <std::copyable Error, std::invocable Operation>
std::optional<Error> thrown(const Operation& operation) {
  try {
    operation();
  } catch (const Error& error) {
    return error;
  }
  return std::nullopt;
}

// Lets GoogleTest name an error.
template <std::derived_from<std::exception> Error>
void PrintTo(const Error& error, std::ostream* stream) {
  *stream << error.what();
}

// Kind, path and description in one line.
template <typename Error>
std::string described(const std::string& kind, const Error& error) {
  std::string path;
  for (const auto& step : error.codingPath()) path += (path.empty() ? "" : ", ") + step;
  const bool saysTheSame = error.what() == error.debugDescription();
  return kind + " [" + path + "] " + (saysTheSame ? error.what() : "said twice");
}

inline std::string describe(const EncodingError& error) { return described("invalidValue", error); }

inline std::string describe(const DecodingError& error) {
  constexpr const char* kinds[] = {"typeMismatch", "valueNotFound", "keyNotFound", "dataCorrupted"};
  return described(kinds[static_cast<std::size_t>(error.kind())], error);
}

}  // namespace tarvex
