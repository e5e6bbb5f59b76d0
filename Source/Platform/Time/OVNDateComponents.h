#pragma once
// Date components (NSDateComponents): the fields of a date in some calendar, each either
// set or absent, and the calendar units that name them (the platform's unit numbers).
//
// A plain value: copy it freely; use one instance from one thread at a time.
#include <cstdint>
#include <memory>
#include <optional>

#include "OvrinCoreExport.h"

class OVNTimeZone;

//! Calendar units, as bit flags (NSCalendarUnit), with the platform's numbers.
using OVNCalendarUnit = std::uint64_t;
inline constexpr OVNCalendarUnit OVNCalendarUnitEra = 1u << 1;
inline constexpr OVNCalendarUnit OVNCalendarUnitYear = 1u << 2;
inline constexpr OVNCalendarUnit OVNCalendarUnitMonth = 1u << 3;
inline constexpr OVNCalendarUnit OVNCalendarUnitDay = 1u << 4;
inline constexpr OVNCalendarUnit OVNCalendarUnitHour = 1u << 5;
inline constexpr OVNCalendarUnit OVNCalendarUnitMinute = 1u << 6;
inline constexpr OVNCalendarUnit OVNCalendarUnitSecond = 1u << 7;
inline constexpr OVNCalendarUnit OVNCalendarUnitWeekday = 1u << 9;
inline constexpr OVNCalendarUnit OVNCalendarUnitWeekdayOrdinal = 1u << 10;
inline constexpr OVNCalendarUnit OVNCalendarUnitQuarter = 1u << 11;
inline constexpr OVNCalendarUnit OVNCalendarUnitWeekOfMonth = 1u << 12;
inline constexpr OVNCalendarUnit OVNCalendarUnitWeekOfYear = 1u << 13;
inline constexpr OVNCalendarUnit OVNCalendarUnitYearForWeekOfYear = 1u << 14;
inline constexpr OVNCalendarUnit OVNCalendarUnitNanosecond = 1u << 15;
inline constexpr OVNCalendarUnit OVNCalendarUnitDayOfYear = 1u << 16;

struct OVN_EXPORT OVNDateComponents {
  std::optional<std::int64_t> era;
  std::optional<std::int64_t> year;
  std::optional<std::int64_t> month;
  std::optional<std::int64_t> day;
  std::optional<std::int64_t> hour;
  std::optional<std::int64_t> minute;
  std::optional<std::int64_t> second;
  std::optional<std::int64_t> nanosecond;
  std::optional<std::int64_t> weekday;  //!< 1 is Sunday in the Gregorian calendar
  std::optional<std::int64_t> weekdayOrdinal;
  std::optional<std::int64_t> quarter;
  std::optional<std::int64_t> weekOfMonth;
  std::optional<std::int64_t> weekOfYear;
  std::optional<std::int64_t> yearForWeekOfYear;
  std::optional<std::int64_t> dayOfYear;
  //! The zone the components are in; null means the calendar's own.
  std::shared_ptr<OVNTimeZone> timeZone;

  //! The field of one unit (a single flag); absent for an unset field or another value.
  std::optional<std::int64_t> valueForComponent(OVNCalendarUnit unit) const;
  //! Sets the field of one unit; another value does nothing.
  void setValue(std::optional<std::int64_t> value, OVNCalendarUnit unit);
};
