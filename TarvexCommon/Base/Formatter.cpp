#include "TarvexCommon/Base/Formatter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>

namespace tarvex {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

// Takes the parts of a text off its front; what is not there makes it fail.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool hasFailed() const { return failed_; }
  bool isAtEnd() const { return rest_.empty(); }

  // Takes a character when it is the next one.
  bool takes(char character) {
    if (!rest_.starts_with(character)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  void expect(char character) { failed_ = !takes(character) || failed_; }

  // Takes so many digits, and their number when it is within the bounds.
  int number(std::size_t digits, int low, int high) {
    int value = 0;
    for (; digits > 0; --digits) value = 10 * value + digit();
    failed_ = failed_ || value < low || value > high;
    return value;
  }

  // Takes one digit or more; returns the thousandths of which they are the beginning.
  int thousandths() {
    int value = 100 * digit();
    for (int weight = 10; nextIsDigit(); weight /= 10) value += weight * digit();
    return value;
  }

 private:
  bool nextIsDigit() const { return !rest_.empty() && rest_[0] >= '0' && rest_[0] <= '9'; }

  int digit() {
    if (!nextIsDigit()) {
      failed_ = true;
      return 0;
    }
    const int value = rest_[0] - '0';
    rest_.remove_prefix(1);
    return value;
  }

  std::string_view rest_;
  bool failed_ = false;
};

// The rest reads "2024-03-05" and so on, as numbers of days, minutes, seconds.
std::int64_t takeDays(Scanner& from) {
  const std::chrono::year year(from.number(4, 1, 9999));
  from.expect('-');
  const std::chrono::month month(static_cast<unsigned>(from.number(2, 1, 12)));
  from.expect('-');
  if (from.hasFailed()) return 0;
  const auto last = static_cast<unsigned>((year / month / std::chrono::last).day());
  const auto day = static_cast<unsigned>(from.number(2, 1, static_cast<int>(last)));
  return sys_days(year / month / std::chrono::day(day)).time_since_epoch().count();
}

std::int64_t takeMinutes(Scanner& from) {
  const int hours = from.number(2, 0, 23);
  from.expect(':');
  return 60 * hours + from.number(2, 0, 59);
}

std::int64_t takeSeconds(Scanner& from) {
  const std::int64_t minutes = takeMinutes(from);
  from.expect(':');
  return 60 * minutes + from.number(2, 0, 59);
}

std::int64_t takeOffset(Scanner& from) {
  if (from.takes('Z')) return 0;
  if (from.takes('-')) return -60 * takeMinutes(from);
  from.expect('+');
  return 60 * takeMinutes(from);
}

constexpr std::int64_t dayInMilliseconds = 86'400'000;

// From 0001-01-01 to the end of 9999, in milliseconds since 1970.
constexpr std::int64_t firstInstant = -719162 * dayInMilliseconds;
constexpr std::int64_t lastInstant = 2932897 * dayInMilliseconds - 1;

// Rounds half up.
std::int64_t millisecondsOf(Date date) {
  const double exact = std::floor(date.timeIntervalSince1970() * 1000 + 0.5);
  if (!(exact > static_cast<double>(firstInstant))) return firstInstant;
  return exact < static_cast<double>(lastInstant) ? static_cast<std::int64_t>(exact) : lastInstant;
}

void append(std::string& text, std::int64_t number, std::size_t digits, char after) {
  const std::size_t end = text.size() + digits;
  text.resize(end);
  for (std::size_t i = 1; i <= digits; ++i, number /= 10) {
    text[end - i] = static_cast<char>('0' + number % 10);
  }
  text += after;
}

}  // namespace

std::optional<Date> ISO8601DateFormatter::date(std::string_view text) const {
  Scanner from(text);
  const std::int64_t days = takeDays(from);
  from.expect('T');
  std::int64_t seconds = 86'400 * days + takeSeconds(from);
  std::int64_t thousandths = 0;
  if ((formatOptions_ & withFractionalSeconds) != 0) {
    from.expect('.');
    thousandths = from.thousandths();
  }
  seconds -= takeOffset(from);
  if (from.hasFailed() || !from.isAtEnd()) return std::nullopt;
  return Date::fromTimeIntervalSince1970(static_cast<double>(1000 * seconds + thousandths) / 1000);
}

std::string ISO8601DateFormatter::string(Date date) const {
  const std::int64_t instant = millisecondsOf(date) - firstInstant;
  const sys_days day{
      std::chrono::days(firstInstant / dayInMilliseconds + instant / dayInMilliseconds)};
  const year_month_day calendar(day);
  const std::int64_t inDay = instant % dayInMilliseconds;
  std::string text;
  append(text, static_cast<int>(calendar.year()), 4, '-');
  append(text, static_cast<unsigned>(calendar.month()), 2, '-');
  append(text, static_cast<unsigned>(calendar.day()), 2, 'T');
  append(text, inDay / 3'600'000, 2, ':');
  append(text, inDay / 60'000 % 60, 2, ':');
  const bool hasFraction = (formatOptions_ & withFractionalSeconds) != 0;
  append(text, inDay / 1000 % 60, 2, hasFraction ? '.' : 'Z');
  if (hasFraction) append(text, inDay % 1000, 3, 'Z');
  return text;
}

const ISO8601DateFormatter& Formatter::rfc3339() noexcept {
  static constexpr ISO8601DateFormatter formatter(ISO8601DateFormatter::withInternetDateTime |
                                                  ISO8601DateFormatter::withFractionalSeconds);
  return formatter;
}

std::optional<Date> Date::fromRfc3339(std::string_view text) {
  const auto date = Formatter::rfc3339().date(text);
  return date ? date : ISO8601DateFormatter().date(text);
}

std::string Date::toRfc3339(Date date) { return Formatter::rfc3339().string(date); }

}  // namespace tarvex
