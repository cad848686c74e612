#include "ExpiryInWords.h"

#include <cmath>

namespace inspector {
namespace {

struct Unit {
  const char* name;
  double seconds;
};

constexpr Unit units[] = {{"year", 365 * 86400.}, {"day", 86400}, {"hour", 3600}, {"minute", 60}};

std::string counted(double count, const std::string& unit) {
  if (count >= 10000) return "more than 9999 " + unit + 's';
  const auto whole = static_cast<int>(count);
  return std::to_string(whole) + ' ' + unit + (whole == 1 ? "" : "s");
}

// From two of a unit on it is counted in that unit: "119 minutes", then "2 hours".
std::string inWords(double seconds) {
  for (const Unit& unit : units) {
    if (seconds >= 2 * unit.seconds) return counted(seconds / unit.seconds, unit.name);
  }
  return seconds < 1 ? "less than a second" : counted(seconds, "second");
}

}  // namespace

std::string expiryInWords(const std::optional<tarvex::Date>& expiry, tarvex::Date now) {
  if (!expiry) return "never expires";
  const std::string time = inWords(std::abs(*expiry - now));
  return *expiry < now ? "expired " + time + " ago" : "expires in " + time;
}

}  // namespace inspector
