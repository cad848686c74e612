// Dates.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// A point in time, held as a double of seconds since 1970-01-01T00:00:00Z. It
// has no time zone. Dates compare as their seconds do: one that is not a number
// is neither before nor after any other.
class Date {
 public:
  // Seconds from 1970-01-01T00:00:00Z to 2001-01-01T00:00:00Z, the epoch that a
  // date without a coding strategy is written against.
  static constexpr double timeIntervalBetween1970AndReferenceDate = 978307200;

  // 1970-01-01T00:00:00Z.
  constexpr Date() noexcept = default;

  static constexpr Date fromTimeIntervalSince1970(double seconds) noexcept { return Date(seconds); }
  static constexpr Date fromTimeIntervalSinceReferenceDate(double seconds) noexcept {
    return Date(seconds + timeIntervalBetween1970AndReferenceDate);
  }

  // Returns the date of a text such as "2024-03-05T07:08:09.123Z" (RFC 3339), with or without
  // a fraction of the second, in UTC or with an offset; nothing for any other text.
  TARVEX_EXPORT static std::optional<Date> fromRfc3339(std::string_view text);
  // Returns such a text, in UTC and with three digits of the fraction.
  TARVEX_EXPORT static std::string toRfc3339(Date date);

  constexpr double timeIntervalSince1970() const noexcept { return seconds_; }
  constexpr double timeIntervalSinceReferenceDate() const noexcept {
    return seconds_ - timeIntervalBetween1970AndReferenceDate;
  }

  friend constexpr Date operator+(Date date, double seconds) noexcept {
    return Date(date.seconds_ + seconds);
  }
  friend constexpr Date operator-(Date date, double seconds) noexcept {
    return Date(date.seconds_ - seconds);
  }
  // The seconds from `second` to `first`.
  friend constexpr double operator-(Date first, Date second) noexcept {
    return first.seconds_ - second.seconds_;
  }
  friend constexpr auto operator<=>(Date, Date) noexcept = default;

 private:
  explicit constexpr Date(double seconds) noexcept : seconds_(seconds) {}

  double seconds_ = 0;
};

}  // namespace tarvex
