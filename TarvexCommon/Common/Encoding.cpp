#include "TarvexCommon/Common/Encoding.h"

#include <algorithm>

#include "TarvexCommon/Base/Text.h"

namespace tarvex::Encoding {

std::string b64urlToBase64(std::string_view from) {
  std::string text(from);
  std::replace(text.begin(), text.end(), '-', '+');
  std::replace(text.begin(), text.end(), '_', '/');
  text.append((4 - graphemeCount(text) % 4) % 4, '=');
  return text;
}

std::string base64ToB64url(std::string_view from) {
  std::string text(from);
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  std::erase(text, '=');
  return text;
}

}  // namespace tarvex::Encoding
