#include "TarvexCommon/JWT/JWTCodable.h"

#include "TarvexCommon/Base/Base64Segment.h"
#include "TarvexCommon/Base/FatalError.h"

namespace tarvex {
namespace {

constexpr double twoTo64 = 18446744073709551616.0;

std::uint64_t wholeSeconds(Date date) {
  const double seconds = date.timeIntervalSince1970();
  if (!(seconds > -1 && seconds < twoTo64)) {
    fatalError("The date is not a whole number of seconds from 1970 on");
  }
  return seconds < 0 ? 0 : static_cast<std::uint64_t>(seconds);
}

}  // namespace

const DateEncodingStrategy& wholeSecondsSince1970() {
  const auto write = [](Date date, Encoder& to) {
    to.singleValueContainer().encode(wholeSeconds(date));
  };
  static const auto& strategy = *new auto(DateEncodingStrategy::custom(write));
  return strategy;
}

JSONEncoder segmentEncoder() { return {.dateEncodingStrategy = wholeSecondsSince1970()}; }

std::string toSegment(Bytes bytes) { return toBase64Segment(bytes); }

}  // namespace tarvex
