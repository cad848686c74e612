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

// The form of a date and time without fraction and offset; a 0 stands for any digit.
constexpr std::string_view form = "0000-00-00T00:00:00";

using Word = std::array<unsigned char, sizeof(std::uint64_t)>;

// Whether eight characters of the text at `at` have the form. A digit differs from '0' in bits
// that are less than ten, a mark from itself in none; the limits take all else to the highest
// bit of its byte.
template <std::size_t at>
bool hasFormAt(std::string_view text) {
  constexpr auto word = [](auto byteFor) {
    Word bytes;
    for (std::size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<unsigned char>(byteFor(form[at + i]));
    return std::bit_cast<std::uint64_t>(bytes);
  };
  constexpr std::uint64_t expected = word([](char c) { return c; });
  constexpr std::uint64_t limits = word([](char c) { return c == '0' ? 0x80 - 10 : 0x80 - 1; });
  std::uint64_t characters = 0;
  std::memcpy(&characters, text.data() + at, sizeof characters);
  const std::uint64_t difference = characters ^ expected;
  return ((difference | (difference + limits)) & 0x8080808080808080) == 0;
}

bool hasForm(std::string_view text) {
  return text.size() > form.size() && hasFormAt<0>(text) && hasFormAt<8>(text) &&
         hasFormAt<form.size() - sizeof(Word)>(text);
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

// Of two digits.
int numberAt(std::string_view text, std::size_t at) {
  return 10 * text[at] + text[at + 1] - 11 * '0';
}

// The date in front, in days; nothing for one that does not exist.
std::optional<std::int64_t> daysOf(std::string_view text) {
  const std::chrono::year year(100 * numberAt(text, 0) + numberAt(text, 2));
  const std::chrono::month month(static_cast<unsigned>(numberAt(text, 5)));
  const std::chrono::day day(static_cast<unsigned>(numberAt(text, 8)));
  if (year < std::chrono::year(1) || !(year / month / day).ok()) return std::nullopt;
  return sys_days(year / month / day).time_since_epoch().count();
}

// The time "07:08" at a place of the text; nothing for one that does not exist.
std::optional<int> minutesAt(std::string_view text, std::size_t at) {
  const int hours = numberAt(text, at);
  const int minutes = numberAt(text, at + 3);
  if (hours > 23 || minutes > 59) return std::nullopt;
  return 60 * hours + minutes;
}

// The seconds of "Z" or "+01:30".
std::optional<int> offsetOf(std::string_view text) {
  if (text == "Z") return 0;
  if (text.size() != std::string_view("+01:30").size() || text[3] != ':') return std::nullopt;
  if (text[0] != '+' && text[0] != '-') return std::nullopt;
  if (!isDigit(text[1]) || !isDigit(text[2]) || !isDigit(text[4]) || !isDigit(text[5])) {
    return std::nullopt;
  }
  const auto minutes = minutesAt(text, 1);
  if (!minutes) return std::nullopt;
  return text[0] == '-' ? -60 * *minutes : 60 * *minutes;
}

// Takes the digits in front of the text off it; returns the thousandths that they stand for.
int takeThousandths(std::string_view& text) {
  constexpr std::array weights = {100, 10, 1};
  int value = 0;
  std::size_t digits = 0;
  for (; digits < text.size() && isDigit(text[digits]); ++digits) {
    if (digits < weights.size()) value += weights[digits] * (text[digits] - '0');
  }
  text.remove_prefix(digits);
  return value;
}

std::optional<Date> dateOf(std::string_view text, bool hasFraction) {
  if (!hasForm(text)) return std::nullopt;
  const auto days = daysOf(text);
  const auto minutes = minutesAt(text, 11);
  const int seconds = numberAt(text, 17);
  std::string_view rest = text.substr(form.size());
  int thousandths = 0;
  if (hasFraction) {
    if (rest.size() < 2 || rest[0] != '.' || !isDigit(rest[1])) return std::nullopt;
    rest.remove_prefix(1);
    thousandths = takeThousandths(rest);
  }
  const auto offset = offsetOf(rest);
  if (!days || !minutes || seconds > 59 || !offset) return std::nullopt;
  const std::int64_t instant = 86'400 * *days + std::int64_t{60} * *minutes + seconds - *offset;
  return Date::fromTimeIntervalSince1970(static_cast<double>(1000 * instant + thousandths) / 1000);
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
  return dateOf(text, text.size() > form.size() && text[form.size()] == '.');
}

std::string Date::toRfc3339(Date date) { return Formatter::rfc3339().string(date); }

}  // namespace tarvex
