#include "TarvexCommon/Crypto/KeyFormatError.h"

#include <algorithm>
#include <utility>

namespace tarvex {
namespace {

// Short, and nothing in it that a terminal would obey.
bool canBeShown(std::string_view name) {
  constexpr std::size_t longest = 32;
  return !name.empty() && name.size() <= longest &&
         std::all_of(name.begin(), name.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string shown(std::string_view name) {
  return std::string(canBeShown(name) ? name : "unknown");
}

}  // namespace

KeyFormatError::KeyFormatError(Case errorCase, std::string description)
    : case_(errorCase), description_(std::make_shared<const std::string>(std::move(description))) {}

KeyFormatError KeyFormatError::wrongType(std::string_view name) {
  return {Case::wrongType, "the type is " + shown(name) + "; only P-256 keys can be used"};
}

KeyFormatError KeyFormatError::wrongBlock(std::string_view name) {
  return {Case::wrongType, "the PEM block's label is " + shown(name) +
                               "; PUBLIC KEY, PRIVATE KEY and EC PRIVATE KEY are read"};
}

KeyFormatError KeyFormatError::wrongCurve(std::string_view name) {
  return {Case::wrongCurve, "the curve is " + shown(name) + "; only P-256 keys can be used"};
}

}  // namespace tarvex
