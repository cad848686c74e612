// Dates as text in the internet's format (RFC 3339), in UTC, without locale or time zones.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/Export.h"

namespace tarvex {

// Reads and writes one of two forms, by its options: "2024-03-05T07:08:09Z", or with a
// fraction of the second, "2024-03-05T07:08:09.123Z". Any thread may use it.
class TARVEX_EXPORT ISO8601DateFormatter {
 public:
  static constexpr unsigned withInternetDateTime = 1907;
  static constexpr unsigned withFractionalSeconds = 2048;

  explicit constexpr ISO8601DateFormatter(unsigned formatOptions = withInternetDateTime) noexcept
      : formatOptions_(formatOptions) {}

  constexpr unsigned formatOptions() const noexcept { return formatOptions_; }

  // Returns the date of a text in this form, with "Z" or an offset such as "+01:00"; of a
  // fraction, which may have any number of digits, the first three count. Nothing for every
  // other text, for days and times that do not exist and for leap seconds.
  std::optional<Date> date(std::string_view text) const;

  // Returns the text of a date, rounded to the millisecond; without fraction, what is left of
  // the second is dropped then. Dates outside the years 0001 to 9999 are written as the nearest
  // that is not, and one that is not a number as the first.
  std::string string(Date date) const;

 private:
  unsigned formatOptions_;
};

struct TARVEX_EXPORT Formatter {
  // The formatter that all share, with fractional seconds.
  static const ISO8601DateFormatter& rfc3339() noexcept;
};

}  // namespace tarvex
