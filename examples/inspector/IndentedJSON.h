// JSON text over several lines.
#pragma once

#include <string>
#include <string_view>

namespace inspector {

// Returns `json`, which must be valid, with a line for each member and element. Only white
// space is changed: numbers keep their digits, and a member that stands there twice is there
// twice. The deepest levels are indented alike, so that the text stays within a fixed multiple
// of the size of `json`.
std::string indented(std::string_view json);

}  // namespace inspector
