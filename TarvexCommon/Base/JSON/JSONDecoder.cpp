#include "TarvexCommon/Base/JSON/JSONDecoder.h"

#include "TarvexCommon/Base/JSON/JSONDocument.h"

namespace tarvex {

JSONDecoder::Parsed JSONDecoder::parse(Bytes json) {
  return Parsed(new coding::JSONDocument(json));
}

JSONDecoder::Parsed JSONDecoder::parse(Data&& json) {
  return Parsed(new coding::JSONDocument(std::move(json)));
}

void JSONDecoder::Release::operator()(coding::JSONDocument* document) const noexcept {
  delete document;
}

}  // namespace tarvex
