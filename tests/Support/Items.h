// Item dictionaries as texts: the class, then "name=value". A value is a text, 'bytes, a
// #number, true, false, none, or a @date in seconds since 1970.
#pragma once

#include <sstream>
#include <string>

#include "TarvexCommon/Platform/ItemValue.h"
#include "tests/Support/Hex.h"

namespace tarvex {

inline ItemValue valueOf(const std::string& word) {
  if (word == "true" || word == "false") return word == "true";
  if (word == "none") return {};
  if (word.starts_with('#')) return std::stoi(word.substr(1));
  if (word.starts_with('@')) return Date::fromTimeIntervalSince1970(std::stod(word.substr(1)));
  if (word.starts_with('\'')) return toData(unescaped(word.substr(1)));
  return unescaped(word);
}

inline ItemDictionary item(const std::string& words) {
  ItemDictionary read;
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    const auto equals = word.find('=');
    const bool isClass = equals == word.npos;
    read[isClass ? "class" : word.substr(0, equals)] = valueOf(word.substr(equals + 1));
  }
  return read;
}

}  // namespace tarvex
