// The one way in which the library stops the process.
#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// A position in the source: as a default argument, that of the caller.
struct SourcePosition {
  static constexpr SourcePosition current(const char* file = __builtin_FILE(),
                                          int line = __builtin_LINE()) noexcept {
    return {file, line};
  }

  const char* file;
  int line;
};

// Writes `message` and the caller's source position to stderr and aborts.
[[noreturn]] TARVEX_EXPORT void fatalError(std::string_view message,
                                           SourcePosition where = SourcePosition::current());

// Stops the process with "Assertion failed" unless `condition` holds.
inline void require(bool condition, SourcePosition where = SourcePosition::current()) {
  if (!condition) fatalError("Assertion failed", where);
}

inline constexpr std::string_view foundNil =
    "Unexpectedly found nil while unwrapping an Optional value";

// Return the value, or stop the process when there is none.
template <typename Value>
const Value& unwrap(const std::optional<Value>& value,
                    SourcePosition where = SourcePosition::current()) {
  if (!value) fatalError(foundNil, where);
  return *value;
}

template <typename Object>
std::shared_ptr<Object> unwrap(std::shared_ptr<Object> object,
                               SourcePosition where = SourcePosition::current()) {
  if (object == nullptr) fatalError(foundNil, where);
  return object;
}

}  // namespace tarvex
