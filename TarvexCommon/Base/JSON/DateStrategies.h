// How the coder reads and writes a `Date`.
#pragma once

#include <functional>

#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"

namespace tarvex {

class Decoder;
class Encoder;

class TARVEX_EXPORT DateDecodingStrategy {
 public:
  using Rule = std::function<Date(const Decoder&)>;

  // A number of seconds since 2001-01-01T00:00:00Z, the date's own form.
  static DateDecodingStrategy deferredToDate();
  // A number of seconds since 1970-01-01T00:00:00Z; fractions are allowed.
  static DateDecodingStrategy secondsSince1970();
  // A text that `Date::fromRfc3339` reads; another one is `dataCorrupted`, "Invalid date: "
  // and the text.
  static const DateDecodingStrategy& rfc3339();
  // What `rule` reads. It is not asked for a null.
  static DateDecodingStrategy custom(Rule rule);

 private:
  friend Decoder;
  explicit DateDecodingStrategy(Rule rule);

  Rule rule_;
};

class TARVEX_EXPORT DateEncodingStrategy {
 public:
  using Rule = std::function<void(Date, Encoder&)>;

  // A number of seconds since 2001-01-01T00:00:00Z, the date's own form.
  static DateEncodingStrategy deferredToDate();
  // A number of seconds since 1970-01-01T00:00:00Z, with its fraction.
  static DateEncodingStrategy secondsSince1970();
  // The text of `Date::toRfc3339`.
  static const DateEncodingStrategy& rfc3339();
  // What `rule` writes.
  static DateEncodingStrategy custom(Rule rule);

 private:
  friend Encoder;
  explicit DateEncodingStrategy(Rule rule);

  Rule rule_;
};

}  // namespace tarvex
