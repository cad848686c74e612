#include "TarvexCommon/Base/JSON/DateStrategies.h"

#include <utility>

#include "TarvexCommon/Base/JSON/Decoder.h"
#include "TarvexCommon/Base/JSON/Encoder.h"

namespace tarvex {

DateDecodingStrategy::DateDecodingStrategy(Rule rule) : rule_(std::move(rule)) {}

DateDecodingStrategy DateDecodingStrategy::deferredToDate() {
  return custom([](const Decoder& from) {
    return Date::fromTimeIntervalSinceReferenceDate(from.singleValueContainer().decode<double>());
  });
}

DateDecodingStrategy DateDecodingStrategy::secondsSince1970() {
  return custom([](const Decoder& from) {
    return Date::fromTimeIntervalSince1970(from.singleValueContainer().decode<double>());
  });
}

DateDecodingStrategy DateDecodingStrategy::custom(Rule rule) {
  return DateDecodingStrategy(std::move(rule));
}

DateEncodingStrategy::DateEncodingStrategy(Rule rule) : rule_(std::move(rule)) {}

DateEncodingStrategy DateEncodingStrategy::deferredToDate() {
  return custom([](Date date, Encoder& to) {
    to.singleValueContainer().encode(date.timeIntervalSinceReferenceDate());
  });
}

DateEncodingStrategy DateEncodingStrategy::secondsSince1970() {
  return custom([](Date date, Encoder& to) {
    to.singleValueContainer().encode(date.timeIntervalSince1970());
  });
}

DateEncodingStrategy DateEncodingStrategy::custom(Rule rule) {
  return DateEncodingStrategy(std::move(rule));
}

}  // namespace tarvex
