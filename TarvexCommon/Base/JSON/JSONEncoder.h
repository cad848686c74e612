// Encodes values as JSON text (RFC 8259).
//
//   const std::string text = tarvex::JSONEncoder().encode(note);
//
// The text is UTF-8 without white space.
#pragma once

#include <string>

#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/JSON/Encoder.h"

namespace tarvex {

struct TARVEX_EXPORT JSONEncoder {
  using DateEncodingStrategy = tarvex::DateEncodingStrategy;

  DateEncodingStrategy dateEncodingStrategy = DateEncodingStrategy::deferredToDate();

  // Throws `EncodingError`.
  template <typename T>
  std::string encode(const T& value) const {
    coding::Output json;
    Encoder(json, dateEncodingStrategy).value(value);
    json.cutComma();
    return std::string(json.text());
  }
};

}  // namespace tarvex
