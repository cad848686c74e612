#include "TarvexCommon/Platform/SignatureDER.h"

namespace tarvex {
namespace {

std::uint8_t encodedSize(Bytes component) {
  return static_cast<std::uint8_t>(component.size() + (component[0] >= 0x80 ? 1 : 0));
}

void appendInteger(Data& der, Bytes component) {
  der.push_back(0x02);
  der.push_back(encodedSize(component));
  if (component[0] >= 0x80) der.push_back(0x00);
  der.insert(der.end(), component.begin(), component.end());
}

}  // namespace

Data signatureDER(Bytes r, Bytes s) {
  Data der;
  der.reserve(72);
  der.push_back(0x30);
  der.push_back(static_cast<std::uint8_t>(encodedSize(r) + encodedSize(s) + 4));
  appendInteger(der, r);
  appendInteger(der, s);
  return der;
}

}  // namespace tarvex
