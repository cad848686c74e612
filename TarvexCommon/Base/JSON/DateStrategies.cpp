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

const DateDecodingStrategy& DateDecodingStrategy::rfc3339() {
  static const auto& strategy = *new DateDecodingStrategy(custom([](const Decoder& from) {
    const auto container = from.singleValueContainer();
    const auto text = container.decode<std::string>();
    if (const auto date = Date::fromRfc3339(text)) return *date;
    throw DecodingError::dataCorruptedError(container, "Invalid date: " + text);
  }));
  return strategy;
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

const DateEncodingStrategy& DateEncodingStrategy::rfc3339() {
  static const auto& strategy = *new DateEncodingStrategy(custom(
      [](Date date, Encoder& to) { to.singleValueContainer().encode(Date::toRfc3339(date)); }));
  return strategy;
}

DateEncodingStrategy DateEncodingStrategy::custom(Rule rule) {
  return DateEncodingStrategy(std::move(rule));
}

}  // namespace tarvex
