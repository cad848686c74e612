// Texts that stand for bytes.
#pragma once

#include <string>

#include "TarvexCommon/Base/Data.h"

namespace tarvex {

inline std::uint8_t hexByte(const std::string& text, std::size_t at) {
  return static_cast<std::uint8_t>(std::stoul(text.substr(at, 2), nullptr, 16));
}

// An odd digit in front is a byte of its own.
inline Data fromHex(std::string digits) {
  if (digits.size() % 2 == 1) digits.insert(0, 1, '0');
  Data bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) bytes.push_back(hexByte(digits, i));
  return bytes;
}

inline std::string toHex(Bytes bytes) {
  std::string digits;
  for (const std::uint8_t byte : bytes) {
    digits += "0123456789abcdef"[byte >> 4];
    digits += "0123456789abcdef"[byte & 15];
  }
  return digits;
}

// Puts the byte for each %XX.
inline std::string unescaped(std::string text) {
  for (std::size_t at = 0; (at = text.find('%', at)) != text.npos; ++at) {
    text.replace(at, 3, 1, static_cast<char>(hexByte(text, at + 1)));
  }
  return text;
}

}  // namespace tarvex
