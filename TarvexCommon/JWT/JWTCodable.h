// Records that travel as a token segment: the base64url text of their JSON.
#pragma once

#include <concepts>
#include <string>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Export.h"
#include "TarvexCommon/Base/JSON/JSONDecoder.h"
#include "TarvexCommon/Base/JSON/JSONEncoder.h"

namespace tarvex {

// A JWTCodable type reads itself from JSON, writes itself as JSON, and returns its
// segment from `encode()`, for which `encodeSegment(*this)` is the body.
template <typename T>
concept JWTCodable = Decodable<T> && Encodable<T> && requires(const T& record) {
  { record.encode() } -> std::same_as<std::string>;
};

// How tokens carry dates: as whole seconds since 1970, cut towards zero, `1000` for
// 1000.9. Made once. Stops the process for a date that is not a number, not greater
// than -1, or not less than 2^64 seconds.
TARVEX_EXPORT const DateEncodingStrategy& wholeSecondsSince1970();

// The encoder of every token: compact, with whole seconds.
TARVEX_EXPORT JSONEncoder segmentEncoder();

// Returns the base64url text of `bytes`, without padding: "e30" for `{}`.
TARVEX_EXPORT std::string toSegment(Bytes bytes);

// Returns the segment of the record. Throws `EncodingError`. Stops the process
// for a date that no token can carry.
template <Encodable T>
std::string encodeSegment(const T& record) {
  return toSegment(segmentEncoder().encode(record));
}

}  // namespace tarvex
