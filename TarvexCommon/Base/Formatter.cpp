#include "TarvexCommon/Base/Formatter.h"

#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarvex {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

// The form of most texts: of each digit the highest that it can be, and what is between them.
constexpr std::string_view form = "9999-19-39T29:59:59.999Z";
constexpr std::size_t fractionAt = 19;

constexpr bool isDigit(char character) { return character >= '0' && character <= '9'; }

using Word = std::array<unsigned char, sizeof(std::uint64_t)>;

// Marks those of eight characters of the text at `at` that have not the form, in the highest bits
// of their bytes. A digit differs from '0' by no more than the highest one does, another character
// from itself by nothing; the limits take all else to the highest bit.
template <std::size_t at>
std::uint64_t faultsAt(std::string_view text) {
  constexpr auto word = [](auto byteFor) {
    Word bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<unsigned char>(byteFor(form[at + i]));
    return std::bit_cast<std::uint64_t>(bytes);
  };
  constexpr std::uint64_t lowest = word([](char c) { return isDigit(c) ? '0' : c; });
  constexpr std::uint64_t limits = word([](char c) { return 0x7F - (isDigit(c) ? c - '0' : 0); });
  std::uint64_t characters = 0;
  std::memcpy(&characters, text.data() + at, sizeof characters);
  const std::uint64_t difference = characters ^ lowest;
  return (difference | (difference + limits)) & 0x8080808080808080;
}

bool hasForm(std::string_view text) {
  return text.size() == form.size() &&
         (faultsAt<0>(text) | faultsAt<8>(text) | faultsAt<16>(text)) == 0;
}

// Whether a text has the form up to its seconds, and goes on.
bool beginsWithForm(std::string_view text) {
  return text.size() > fractionAt &&
         (faultsAt<0>(text) | faultsAt<8>(text) | faultsAt<fractionAt - sizeof(Word)>(text)) == 0;
}

// Of two digits.
unsigned numberAt(std::string_view text, std::size_t at) {
  return static_cast<unsigned>(10 * text[at] + text[at + 1] - 11 * '0');
}

// By all numbers that a month has in the form: the days of it at most, and those before it since
// the last March began.
using Months = std::array<unsigned, 20>;
constexpr Months longestOf = {0, 31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
constexpr Months before = {0, 306, 337, 0, 31, 61, 92, 122, 153, 184, 214, 245, 275};

bool isDate(unsigned year, unsigned month, unsigned day) {
  if (year == 0 || day == 0 || day > longestOf[month]) return false;
  return month != 2 || day != 29 || std::chrono::year(static_cast<int>(year)).is_leap();
}

// Years are counted from March on, so that a leap day is the last of its year.
std::int64_t daysSince1970(unsigned year, unsigned month, unsigned day) {
  const unsigned years = year - (month < 3 ? 1 : 0);
  const unsigned days = 365 * years + years / 4 - years / 100 + years / 400 + before[month] + day;
  return std::int64_t{days} - 719'469;
}

// The date of a text that begins with the form; nothing for one that does not exist.
std::optional<Date> dateWith(std::string_view text, unsigned thousandths, int offset) {
  const unsigned year = 100 * numberAt(text, 0) + numberAt(text, 2);
  const unsigned month = numberAt(text, 5);
  const unsigned day = numberAt(text, 8);
  const unsigned hours = numberAt(text, 11);
  if (!isDate(year, month, day) || hours > 23) return std::nullopt;
  const unsigned time = 3600 * hours + 60 * numberAt(text, 14) + numberAt(text, 17);
  const std::int64_t instant = 86'400 * daysSince1970(year, month, day) + time - offset;
  return Date::fromTimeIntervalSince1970(static_cast<double>(1000 * instant + thousandths) / 1000);
}

// The seconds of "Z" or "+01:30".
std::optional<int> offsetOf(std::string_view text) {
  if (text == "Z") return 0;
  if (text.size() != std::string_view("+01:30").size() || text[3] != ':') return std::nullopt;
  if (text[0] != '+' && text[0] != '-') return std::nullopt;
  if (!isDigit(text[1]) || !isDigit(text[2]) || !isDigit(text[4]) || !isDigit(text[5])) {
    return std::nullopt;
  }
  const unsigned hours = numberAt(text, 1);
  const unsigned minutes = numberAt(text, 4);
  if (hours > 23 || minutes > 59) return std::nullopt;
  const auto seconds = static_cast<int>(3600 * hours + 60 * minutes);
  return text[0] == '-' ? -seconds : seconds;
}

// Takes the digits in front of the text off it; returns the thousandths that they stand for.
unsigned takeThousandths(std::string_view& text) {
  constexpr std::array weights = {100, 10, 1};
  int value = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && isDigit(text[digits]); ++digits) {
    if (digits < weights.size()) value += weights[digits] * (text[digits] - '0');
  }
  text.remove_prefix(digits);
  return static_cast<unsigned>(value);
}

std::optional<Date> dateOf(std::string_view text, bool hasFraction) {
  if (!beginsWithForm(text)) return std::nullopt;
  std::string_view rest = text.substr(fractionAt);
  unsigned thousandths = 0;
  if (hasFraction) {
    if (rest.size() < 2 || rest[0] != '.' || !isDigit(rest[1])) return std::nullopt;
    rest.remove_prefix(1);
    thousandths = takeThousandths(rest);
  }
  const auto offset = offsetOf(rest);
  return offset ? dateWith(text, thousandths, *offset) : std::nullopt;
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

// Writes the number with so many digits and what stands behind it; returns the next place.
template <int digits>
char* put(char* at, unsigned number, char after) {
  for (int i = digits; i-- > 0; number /= 10) at[i] = static_cast<char>('0' + number % 10);
  at[digits] = after;
  return at + digits + 1;
}

}  // namespace

std::optional<Date> ISO8601DateFormatter::date(std::string_view text) const {
  return dateOf(text, (formatOptions_ & withFractionalSeconds) != 0);
}

std::string ISO8601DateFormatter::string(Date date) const {
  const std::int64_t instant = millisecondsOf(date) - firstInstant;
  const sys_days day{
      std::chrono::days(firstInstant / dayInMilliseconds + instant / dayInMilliseconds)};
  const year_month_day calendar(day);
  const auto inDay = static_cast<unsigned>(instant % dayInMilliseconds);
  const bool hasFraction = (formatOptions_ & withFractionalSeconds) != 0;
  std::array<char, std::string_view("2024-03-05T14:30:00.000Z").size()> text;
  char* end = put<4>(text.data(), static_cast<unsigned>(static_cast<int>(calendar.year())), '-');
  end = put<2>(end, static_cast<unsigned>(calendar.month()), '-');
  end = put<2>(end, static_cast<unsigned>(calendar.day()), 'T');
  end = put<2>(end, inDay / 3'600'000, ':');
  end = put<2>(end, inDay / 60'000 % 60, ':');
  end = put<2>(end, inDay / 1000 % 60, hasFraction ? '.' : 'Z');
  if (hasFraction) end = put<3>(end, inDay % 1000, 'Z');
  return {text.data(), end};
}

const ISO8601DateFormatter& Formatter::rfc3339() noexcept {
  static constexpr ISO8601DateFormatter formatter(ISO8601DateFormatter::withInternetDateTime |
                                                  ISO8601DateFormatter::withFractionalSeconds);
  return formatter;
}

std::optional<Date> Date::fromRfc3339(std::string_view text) {
  if (!hasForm(text)) return dateOf(text, text.size() > fractionAt && text[fractionAt] == '.');
  const auto lastDigit = static_cast<unsigned>(text[22] - '0');
  return dateWith(text, 10 * numberAt(text, 20) + lastDigit, 0);
}

std::string Date::toRfc3339(Date date) { return Formatter::rfc3339().string(date); }

}  // namespace tarvex
