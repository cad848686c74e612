// Decodes values from JSON text (RFC 8259).
//
//   const auto note = tarvex::JSONDecoder().decode<Note>(text);
//
// The text is UTF-8 and holds one value of any kind, also a bare number or text.
// Containers nest up to 512 deep. Integers of any length can be read as double;
// a number that a double cannot hold (1e400, 1e-400) is refused.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/DateStrategies.h"
#include "TarvexCommon/Base/JSON/Decoder.h"

namespace tarvex {

struct TARVEX_EXPORT JSONDecoder {
  using DateDecodingStrategy = tarvex::DateDecodingStrategy;

  // Bytes of capacity behind a text that the decoder uses as work space.
  static constexpr std::size_t spareCapacity = 64;

  DateDecodingStrategy dateDecodingStrategy = DateDecodingStrategy::deferredToDate();

  // For a text with secrets: whether the decoder overwrites its own copies of it after use, but for
  // a text that is a number and nothing else.
  bool wipesWorkSpace = false;

  // Throws `DecodingError`: `dataCorrupted` with an empty path for a text that is
  // not JSON, then what `T` throws while it reads itself.
  template <typename T>
  T decode(Bytes json) const {
    return read<T>(*parse(json));
  }

  // The same, without a copy when `json` has `spareCapacity` to spare.
  template <typename T>
  T decode(Data&& json) const {
    return read<T>(*parse(std::move(json)));
  }

 private:
  struct Release {
    TARVEX_EXPORT void operator()(coding::JSONDocument* document) const noexcept;

    bool wipes;
  };
  using Parsed = std::unique_ptr<coding::JSONDocument, Release>;

  Parsed newDocument() const;
  Parsed parse(Bytes json) const;
  Parsed parse(Data&& json) const;

  template <typename T>
  T read(const coding::JSONDocument& document) const {
    return Decoder(document, dateDecodingStrategy).template value<T>();
  }
};

}  // namespace tarvex
