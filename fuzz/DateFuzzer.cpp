// Reads arbitrary bytes as dates: the numeric and relative forms of ovn_dateWithString, fixed
// patterns, a pattern taken from the input (the text before its first newline) both to parse
// and to format, and the offset of a time stamp. Checks: a zone is always given, within a
// day of GMT; an ISO 8601 time stamp that parses formats back to text that parses to the
// same instant (years 1 to 9999, where the pattern's fields hold the whole date).
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Categories/NSDate+OvrinCore.h"
#include "Categories/NSTimeZone+OvrinCore.h"

namespace {

constexpr std::string_view kISO8601 = "yyyy-MM-dd'T'HH:mm:ssZZZZZ";
constexpr std::string_view kFixedPatterns[] = {kISO8601, "EEE, dd MMM yyyy HH:mm:ss zzz", "MM/dd/yyyy", "h:mm a",
                                               "VVVV"};
constexpr std::size_t kMaximumPatternLength = 64;
const OVNDate kFirstYear = OVNDate::dateWithTimeIntervalSince1970(-62135596800.0);  // 0001-01-01T00:00:00Z
const OVNDate kLastYear = OVNDate::dateWithTimeIntervalSince1970(253402300799.0);   // 9999-12-31T23:59:59Z

void checkISO8601RoundTrip(std::string_view text, const std::shared_ptr<OVNTimeZone>& gmt) {
  const auto date = ovn_dateWithString(text, kISO8601, gmt);
  if (!date || date->timeIntervalSinceDate(kFirstYear) < 0 || date->timeIntervalSinceDate(kLastYear) > 0) return;
  const std::string written = ovn_formattedDateWithFormat(*date, kISO8601, gmt, OVNLocale::systemLocale());
  if (ovn_dateWithString(written, kISO8601, gmt) != date) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  static const auto gmt = OVNTimeZone::timeZoneForSecondsFromGMT(0);
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  const std::size_t newline = input.find('\n');
  const std::string_view pattern = input.substr(0, std::min(newline, kMaximumPatternLength));
  const std::string_view text = newline == std::string_view::npos ? input : input.substr(newline + 1);

  (void)ovn_dateWithString(input);
  (void)ovn_relativeDateWithString(text);
  for (std::string_view fixed : kFixedPatterns) (void)ovn_dateWithString(text, fixed, gmt);
  (void)ovn_dateWithString(text, pattern);
  (void)ovn_formattedDateWithFormat(OVNDate::now(), pattern);
  checkISO8601RoundTrip(text, gmt);

  const auto zone = ovn_timeZoneFromDateString(input);
  if (!zone || std::abs(zone->secondsFromGMT()) > OVNTimeZone::maximumSecondsFromGMT) std::abort();
  return 0;
}
