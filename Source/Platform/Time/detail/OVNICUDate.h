#pragma once
// Where OVNDate meets ICU's UDate (milliseconds since 1970). Instants outside the range
// ICU's calendars handle are clamped to its edges and NaN reads as the reference date, so
// no instant can push ICU off its tables.
// Thread-safe (pure functions). Only platform sources that use ICU include this header.

#include <unicode/utypes.h>

#include <algorithm>
#include <cmath>

#include "Platform/Values/OVNDate.h"

namespace ovn::detail {

class OVNICUDate {
 public:
  static constexpr double millisecondsPerSecond = 1000.0;
  // About +-5.8 million years: inside the range of ICU's Gregorian calendar.
  static constexpr double limitMilliseconds = 1.8e17;

  static UDate fromDate(OVNDate date) {
    const double milliseconds = date.timeIntervalSince1970() * millisecondsPerSecond;
    if (std::isnan(milliseconds)) return OVNDate().timeIntervalSince1970() * millisecondsPerSecond;
    return std::clamp(milliseconds, -limitMilliseconds, limitMilliseconds);
  }
  static OVNDate toDate(UDate milliseconds) {
    return OVNDate::dateWithTimeIntervalSince1970(milliseconds / millisecondsPerSecond);
  }
};

}  // namespace ovn::detail
