// What has to be so for a measurement to mean anything.
#pragma once

#include <source_location>
#include <stdexcept>
#include <string>

namespace bench {

inline void check(bool condition,
                  const std::source_location& place = std::source_location::current()) {
  if (condition) return;
  throw std::runtime_error(std::string(place.file_name()) + ':' + std::to_string(place.line()) +
                           ": not as it has to be");
}

}  // namespace bench
