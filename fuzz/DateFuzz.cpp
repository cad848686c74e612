// Any text as a date, and the first eight bytes as the seconds of one. What is read must be
// written as a text that is read as the same date, to the half of a millisecond and what a
// double of so many seconds is short of.
#include <cmath>
#include <cstring>

#include "TarvexCommon/Base/Data.h"
#include "TarvexCommon/Base/Date.h"
#include "TarvexCommon/Base/FatalError.h"

namespace tarvex {
namespace {

// Only years from 1 to 9999 can be written.
void checkWriting(Date date) {
  const std::string text = Date::toRfc3339(date);
  const double seconds = date.timeIntervalSince1970();
  if (!(seconds > -62135596800 && seconds < 253402300799)) return;
  const auto again = Date::fromRfc3339(text);
  require(again && std::abs(*again - date) <= 0.00054);
}

// A date has at least the twenty characters of 1970-01-01T00:00:00Z, of which some have
// to be where they are.
void checkReading(std::string_view text) {
  const auto date = Date::fromRfc3339(text);
  if (!date) return;
  require(text.size() >= 20 && text[4] == '-' && text[7] == '-' && text[13] == ':' &&
          text[16] == ':');
  checkWriting(*date);
}

}  // namespace
}  // namespace tarvex

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvex::checkReading(tarvex::Bytes(data, size).text());
  double seconds = 0;
  if (size < sizeof seconds) return 0;
  std::memcpy(&seconds, data, sizeof seconds);
  tarvex::checkWriting(tarvex::Date::fromTimeIntervalSince1970(seconds));
  return 0;
}
