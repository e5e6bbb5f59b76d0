#include "Platform/Time/OVNDateComponents.h"

#include "Platform/Time/OVNTimeZone.h"

namespace {

// The field a single unit names, or null.
template <class Components>
auto* fieldFor(Components& components, OVNCalendarUnit unit) {
  switch (unit) {
    case OVNCalendarUnitEra: return &components.era;
    case OVNCalendarUnitYear: return &components.year;
    case OVNCalendarUnitMonth: return &components.month;
    case OVNCalendarUnitDay: return &components.day;
    case OVNCalendarUnitHour: return &components.hour;
    case OVNCalendarUnitMinute: return &components.minute;
    case OVNCalendarUnitSecond: return &components.second;
    case OVNCalendarUnitNanosecond: return &components.nanosecond;
    case OVNCalendarUnitWeekday: return &components.weekday;
    case OVNCalendarUnitWeekdayOrdinal: return &components.weekdayOrdinal;
    case OVNCalendarUnitQuarter: return &components.quarter;
    case OVNCalendarUnitWeekOfMonth: return &components.weekOfMonth;
    case OVNCalendarUnitWeekOfYear: return &components.weekOfYear;
    case OVNCalendarUnitYearForWeekOfYear: return &components.yearForWeekOfYear;
    case OVNCalendarUnitDayOfYear: return &components.dayOfYear;
    default: return static_cast<decltype(&components.era)>(nullptr);
  }
}

}  // namespace

std::optional<std::int64_t> OVNDateComponents::valueForComponent(OVNCalendarUnit unit) const {
  const auto* field = fieldFor(*this, unit);
  return field ? *field : std::nullopt;
}

void OVNDateComponents::setValue(std::optional<std::int64_t> value, OVNCalendarUnit unit) {
  if (auto* field = fieldFor(*this, unit)) *field = value;
}
