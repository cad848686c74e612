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

std::string onlyP256(std::string_view what, std::string_view name) {
  return "the " + std::string(what) + " is " + std::string(canBeShown(name) ? name : "unknown") +
         "; only P-256 keys can be used";
}

}  // namespace

KeyFormatError::KeyFormatError(Case errorCase, std::string description)
    : case_(errorCase), description_(std::make_shared<const std::string>(std::move(description))) {}

KeyFormatError KeyFormatError::wrongType(std::string_view name) {
  return {Case::wrongType, onlyP256("type", name)};
}

KeyFormatError KeyFormatError::wrongCurve(std::string_view name) {
  return {Case::wrongCurve, onlyP256("curve", name)};
}

}  // namespace tarvex
