#pragma once
// Date helpers: calendar components, arithmetic, differences, comparisons and the day
// periods weather displays use ("Tonight", "this afternoon").
//
// Two calendars serve them. The implicit calendar, made from the process-wide default
// calendar identifier (Gregorian unless set; Gregorian also when set to none), serves the
// component accessors, the day periods, date construction, arithmetic and differences. The
// current calendar (OVNCalendar::currentCalendar(), the user's) serves the day tests
// (today, tomorrow, yesterday, same day), ovn_isWeekend and ovn_daysInMonth. Both follow the
// default time zone unless given one; "now" is OVNDate::now(), which a test clock drives.
//
// Kept on purpose: ovn_daysInYear gives 265 for a common year, and ovn_isLeapYear is true
// for every year that is not a multiple of 400. Relative phrases keep theirs too: interval
// counts print "(null)" for an unknown interval and "1 days"; ovn_relativeDateWithString
// pairs the last count with the last recognised unit and knows no weeks, years or seconds.
//
// Parsing and formatting go through three shared formatters (one parses, one formats by
// style, one by pattern), made on first use and reconfigured for every call. Patterns are
// Unicode date-format patterns; the OVNDateFormat* tokens below are pieces of them.
//
// Threads: any thread. The default identifier is meant to be set once at start-up; it is
// guarded all the same, so setting it while others read is safe (they see either one). Each
// shared formatter is reconfigured and used under its own lock, so calls from several
// threads never mix their settings; they take turns.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Time/OVNCalendar.h"
#include "Platform/Time/OVNDateFormatter.h"
#include "Platform/Time/OVNTimeZone.h"
#include "Platform/Values/OVNDate.h"

// Time intervals, in seconds. A month is 30.5 days and a year 365 days.
inline constexpr double OVNSecondInterval = 1;
inline constexpr double OVNMinuteInterval = 60;
inline constexpr double OVNHourInterval = 3600;
inline constexpr double OVNDayInterval = 86400;
inline constexpr double OVNWeekInterval = 604800;
inline constexpr double OVNMonthInterval = 2635200;
inline constexpr double OVNYearInterval = 31536000;

// The component type codes of ovn_componentForDate.
inline constexpr std::uint64_t OVNDateComponentEra = 0;
inline constexpr std::uint64_t OVNDateComponentYear = 1;
inline constexpr std::uint64_t OVNDateComponentMonth = 2;
inline constexpr std::uint64_t OVNDateComponentDay = 3;
inline constexpr std::uint64_t OVNDateComponentHour = 4;
inline constexpr std::uint64_t OVNDateComponentMinute = 5;
inline constexpr std::uint64_t OVNDateComponentSecond = 6;
inline constexpr std::uint64_t OVNDateComponentWeekday = 7;
inline constexpr std::uint64_t OVNDateComponentWeekdayOrdinal = 8;
inline constexpr std::uint64_t OVNDateComponentQuarter = 9;
inline constexpr std::uint64_t OVNDateComponentWeekOfMonth = 10;
inline constexpr std::uint64_t OVNDateComponentWeekOfYear = 11;
inline constexpr std::uint64_t OVNDateComponentYearForWeekOfYear = 12;
inline constexpr std::uint64_t OVNDateComponentDayOfYear = 13;

// ---- The default calendar ---------------------------------------------------------------
OVN_EXPORT std::optional<std::string> ovn_defaultCalendarIdentifier();
//! Sets the identifier and rebuilds the implicit calendar (Gregorian for none, and for an
//! identifier OVNCalendar does not know).
OVN_EXPORT void ovn_setDefaultCalendarIdentifier(std::optional<std::string> identifier);

// ---- Components --------------------------------------------------------------------------
//! The component of `type` (a code above) of `date` in `calendar` (null: the implicit one);
//! 0 for any other code.
OVN_EXPORT std::int64_t ovn_componentForDate(OVNDate date, std::uint64_t type, const OVNCalendarRef& calendar);
OVN_EXPORT std::int64_t ovn_era(OVNDate date);
OVN_EXPORT std::int64_t ovn_year(OVNDate date);
OVN_EXPORT std::int64_t ovn_month(OVNDate date);
OVN_EXPORT std::int64_t ovn_day(OVNDate date);
OVN_EXPORT std::int64_t ovn_hour(OVNDate date);
OVN_EXPORT std::int64_t ovn_minute(OVNDate date);
OVN_EXPORT std::int64_t ovn_second(OVNDate date);
OVN_EXPORT std::int64_t ovn_weekday(OVNDate date);
OVN_EXPORT std::int64_t ovn_weekdayOrdinal(OVNDate date);
OVN_EXPORT std::int64_t ovn_quarter(OVNDate date);
OVN_EXPORT std::int64_t ovn_weekOfMonth(OVNDate date);
OVN_EXPORT std::int64_t ovn_weekOfYear(OVNDate date);
OVN_EXPORT std::int64_t ovn_yearForWeekOfYear(OVNDate date);
OVN_EXPORT std::int64_t ovn_dayOfYear(OVNDate date);
//! Days in the month of `date`, current calendar.
OVN_EXPORT std::int64_t ovn_daysInMonth(OVNDate date);
//! 366 in a leap year, else 265 (kept as it always was).
OVN_EXPORT std::int64_t ovn_daysInYear(OVNDate date);
//! The Gregorian rule on the year of `date` in the implicit calendar.
OVN_EXPORT bool ovn_isInLeapYear(OVNDate date);
//! True for every year that is not a multiple of 400 (kept as it always was).
OVN_EXPORT bool ovn_isLeapYear(std::int64_t year);
//! The implicit calendar's time zone.
OVN_EXPORT std::shared_ptr<OVNTimeZone> ovn_timeZone(OVNDate date);

// ---- Days ----------------------------------------------------------------------------------
OVN_EXPORT bool ovn_isToday(OVNDate date);
OVN_EXPORT bool ovn_isTomorrow(OVNDate date);
OVN_EXPORT bool ovn_isYesterday(OVNDate date);
OVN_EXPORT bool ovn_isSameDay(OVNDate date, OVNDate other);
//! The class operation isSameDay:asDate:.
OVN_EXPORT bool ovn_isSameDayAsDate(OVNDate date, OVNDate other);
//! Sunday or Saturday (the first and the last of the calendar's weekdays), current calendar.
OVN_EXPORT bool ovn_isWeekend(OVNDate date);
OVN_EXPORT bool ovn_isDaylightSavingsTime(OVNDate date);
//! `date` moved by the difference between `timeZone`'s and the system zone's offsets now.
OVN_EXPORT OVNDate ovn_dateWithTimeZone(OVNDate date, const OVNTimeZone& timeZone);

// ---- Day periods (by ovn_hour) -----------------------------------------------------------
OVN_EXPORT bool ovn_isEarlyMorning(OVNDate date);  // 4 to 7
OVN_EXPORT bool ovn_isMorning(OVNDate date);       // 8 to 10
OVN_EXPORT bool ovn_isMidday(OVNDate date);        // 11 and 12
OVN_EXPORT bool ovn_isAfternoon(OVNDate date);     // 13 to 16
OVN_EXPORT bool ovn_isEvening(OVNDate date);       // 17 to 20: neither day nor night
OVN_EXPORT bool ovn_isNight(OVNDate date);         // 21 to 23 and 0 to 3
OVN_EXPORT bool ovn_isDay(OVNDate date);           // 4 to 16
OVN_EXPORT bool ovn_isTonight(OVNDate date);       // today and night
OVN_EXPORT bool ovn_isPM(OVNDate date);            // 12 to 23

// ---- Arithmetic (implicit calendar; smaller fields clamp: 31 March - 1 month = 28/29 Feb) --
OVN_EXPORT OVNDate ovn_dateByAddingYears(OVNDate date, std::int64_t years);
OVN_EXPORT OVNDate ovn_dateByAddingMonths(OVNDate date, std::int64_t months);
OVN_EXPORT OVNDate ovn_dateByAddingWeeks(OVNDate date, std::int64_t weeks);
OVN_EXPORT OVNDate ovn_dateByAddingDays(OVNDate date, std::int64_t days);
OVN_EXPORT OVNDate ovn_dateByAddingHours(OVNDate date, std::int64_t hours);
OVN_EXPORT OVNDate ovn_dateByAddingMinutes(OVNDate date, std::int64_t minutes);
OVN_EXPORT OVNDate ovn_dateByAddingSeconds(OVNDate date, std::int64_t seconds);
OVN_EXPORT OVNDate ovn_dateBySubtractingYears(OVNDate date, std::int64_t years);
OVN_EXPORT OVNDate ovn_dateBySubtractingMonths(OVNDate date, std::int64_t months);
OVN_EXPORT OVNDate ovn_dateBySubtractingWeeks(OVNDate date, std::int64_t weeks);
OVN_EXPORT OVNDate ovn_dateBySubtractingDays(OVNDate date, std::int64_t days);
OVN_EXPORT OVNDate ovn_dateBySubtractingHours(OVNDate date, std::int64_t hours);
OVN_EXPORT OVNDate ovn_dateBySubtractingMinutes(OVNDate date, std::int64_t minutes);
OVN_EXPORT OVNDate ovn_dateBySubtractingSeconds(OVNDate date, std::int64_t seconds);
//! Midnight of the day of `date` in the system time zone.
OVN_EXPORT OVNDate ovn_dateByIgnoringTime(OVNDate date);
OVN_EXPORT OVNDate ovn_dateByIgnoringSeconds(OVNDate date);

// ---- Construction (class operations; the implicit calendar) -------------------------------
OVN_EXPORT OVNDate ovn_dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day);
OVN_EXPORT OVNDate ovn_dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day,
                                    const std::shared_ptr<OVNTimeZone>& timeZone);
//! In the system time zone.
OVN_EXPORT OVNDate ovn_dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                                    std::int64_t minute, std::int64_t second);
OVN_EXPORT OVNDate ovn_dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                                    std::int64_t minute, std::int64_t second,
                                    const std::shared_ptr<OVNTimeZone>& timeZone);

// ---- Differences ---------------------------------------------------------------------------
//! Whole units from the earlier to the later of the two, negated when `date` is the earlier.
OVN_EXPORT std::int64_t ovn_yearsFrom(OVNDate date, OVNDate other);
//! Months plus 12 x years.
OVN_EXPORT std::int64_t ovn_monthsFrom(OVNDate date, OVNDate other);
OVN_EXPORT std::int64_t ovn_weeksFrom(OVNDate date, OVNDate other);
OVN_EXPORT std::int64_t ovn_daysFrom(OVNDate date, OVNDate other);
//! (date - other) in hours, minutes, seconds.
OVN_EXPORT double ovn_hoursFrom(OVNDate date, OVNDate other);
OVN_EXPORT double ovn_minutesFrom(OVNDate date, OVNDate other);
OVN_EXPORT double ovn_secondsFrom(OVNDate date, OVNDate other);

// ---- Comparisons -----------------------------------------------------------------------------
OVN_EXPORT bool ovn_isEarlierThan(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isLaterThan(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isEarlierThanOrEqualTo(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isLaterThanOrEqualTo(OVNDate date, OVNDate other);
//! The same tests on both dates cut to their day (ovn_dateWithYear of year, month, day).
OVN_EXPORT bool ovn_isEqualToDateIgnoringTime(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isEarlierThanDateIgnoringTime(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isLaterThanDateIgnoringTime(OVNDate date, OVNDate other);
OVN_EXPORT bool ovn_isFuture(OVNDate date);

// ---- Relative phrases ------------------------------------------------------------------------
// Phrase styles (the `format` of ovn_timeAgoSinceDateFormat).
inline constexpr std::uint64_t OVNDateAgoFormatWords = 0;
inline constexpr std::uint64_t OVNDateAgoFormatNumeric = 1;       //!< numbers for dates and times
inline constexpr std::uint64_t OVNDateAgoFormatNumericDates = 2;  //!< numbers for dates, words for times
inline constexpr std::uint64_t OVNDateAgoFormatNumericTimes = 3;  //!< words for dates, numbers for times
inline constexpr std::uint64_t OVNDateAgoFormatAbbreviated = 4;
// Value types (the `valueType` of ovn_stringForDateAgoFormat).
inline constexpr std::uint64_t OVNDateAgoYears = 0;
inline constexpr std::uint64_t OVNDateAgoMonths = 1;
inline constexpr std::uint64_t OVNDateAgoWeeks = 2;
inline constexpr std::uint64_t OVNDateAgoDays = 3;
inline constexpr std::uint64_t OVNDateAgoHours = 4;
inline constexpr std::uint64_t OVNDateAgoMinutes = 5;
inline constexpr std::uint64_t OVNDateAgoSeconds = 6;

//! "just now", "3 hours ago", "yesterday", "next week": `date` against now, in words.
//! Templates and suffixes are looked up in the main bundle's string table (English keys).
OVN_EXPORT std::string ovn_timeAgoSinceNow(OVNDate date);
//! The class operation timeAgoSinceDate: the same as ovn_timeAgoSinceNow(date).
OVN_EXPORT std::string ovn_timeAgoSinceDate(OVNDate date);
//! `date` against `reference`, in words.
OVN_EXPORT std::string ovn_timeAgoSinceDate(OVNDate date, OVNDate reference);
//! timeAgoSinceDate:usingNumericDates:(numericTimes:): the style the two switches choose.
OVN_EXPORT std::string ovn_timeAgoSinceDate(OVNDate date, OVNDate reference, bool numericDates,
                                            bool numericTimes = false);
//! timeAgoSinceDate:format: in a style above (the calendar work in the current calendar).
OVN_EXPORT std::string ovn_timeAgoSinceDateFormat(OVNDate date, OVNDate reference, std::uint64_t format);
//! The phrase for a count of one value type; nullopt for a type beyond OVNDateAgoSeconds.
OVN_EXPORT std::optional<std::string> ovn_stringForDateAgoFormat(OVNDate date, std::uint64_t format,
                                                                 std::uint64_t valueType, std::int64_t value,
                                                                 bool future);
//! "Tonight", "Today", "Tomorrow Night", "Tomorrow", "Last Night", "Yesterday" or the weekday
//! name (in `timeZone`, default: the system zone), through OVNLocalizedString (a night's
//! weekday name is not). `flag` is accepted and ignored.
OVN_EXPORT std::string ovn_dayNameRelativeToNow(OVNDate date, bool flag);
OVN_EXPORT std::string ovn_dayNameRelativeToNow(OVNDate date, bool flag, const std::shared_ptr<OVNTimeZone>& timeZone);
//! "%li %@": the count of `interval`s from `reference` (rounded half away from zero) and
//! "months", "days", "hours" or "minutes" for exactly those intervals, else "(null)".
OVN_EXPORT std::string ovn_dateStringRelativeToNowUsingInterval(OVNDate date, double interval);
OVN_EXPORT std::string ovn_dateStringRelativeToDate(OVNDate date, OVNDate reference, double interval);
//! Now plus the last "<count> <unit>" of `text` ("-3 days"); nullopt without any count.
OVN_EXPORT std::optional<OVNDate> ovn_relativeDateWithString(std::string_view text);

// ---- Parsing and formatting ------------------------------------------------------------------
// Pattern tokens to combine into patterns: ovn_formattedDateWithFormat(date,
// std::string(OVNDateFormatDayName) + " " + std::string(OVNDateFormatHour) + ...).
inline constexpr std::string_view OVNDateFormatDate = "d";
inline constexpr std::string_view OVNDateFormatDateWithZeroPadding = "dd";
inline constexpr std::string_view OVNDateFormatDay = "ee";
inline constexpr std::string_view OVNDateFormatDayName = "EEE";
inline constexpr std::string_view OVNDateFormatDayNameFull = "EEEE";
inline constexpr std::string_view OVNDateFormatDayOfYear = "DDD";
inline constexpr std::string_view OVNDateFormatHour = "h";
inline constexpr std::string_view OVNDateFormatHour24 = "H";
inline constexpr std::string_view OVNDateFormatHour24WithZeroPadding = "HH";
inline constexpr std::string_view OVNDateFormatHourWithZeroPadding = "hh";
//! Padded like OVNDateFormatMinutesWithZeroPadding (kept as it always was).
inline constexpr std::string_view OVNDateFormatMinutes = "mm";
inline constexpr std::string_view OVNDateFormatMinutesWithZeroPadding = "mm";
inline constexpr std::string_view OVNDateFormatMonth = "M";
inline constexpr std::string_view OVNDateFormatMonthName = "MMM";
inline constexpr std::string_view OVNDateFormatMonthNameFull = "MMMM";
inline constexpr std::string_view OVNDateFormatMonthWithZeroPadding = "MM";
inline constexpr std::string_view OVNDateFormatPeriod = "a";
inline constexpr std::string_view OVNDateFormatSeconds = "ss";
inline constexpr std::string_view OVNDateFormatTimeZoneLocation = "VVVV";
inline constexpr std::string_view OVNDateFormatTimeZoneName = "zzz";
inline constexpr std::string_view OVNDateFormatTimeZoneOffset = "Z";
inline constexpr std::string_view OVNDateFormatYear = "yyyy";

//! The class operation dateWithString:. "MM/dd/yyyy" or "MM-dd-yyyy" (exactly two, two and
//! four digits) in the system time zone, else ovn_relativeDateWithString ("-2 days"). Nullopt
//! for text that is none of these, for text that is not UTF-8 and for text longer than
//! OVNDateFormatter::maximumTextLength.
OVN_EXPORT std::optional<OVNDate> ovn_dateWithString(std::string_view text);
//! The whole of `text` read with `formatString`, in the system time zone and current locale.
OVN_EXPORT std::optional<OVNDate> ovn_dateWithString(std::string_view text, std::string_view formatString);
//! The same in `timeZone` (null: the default time zone).
OVN_EXPORT std::optional<OVNDate> ovn_dateWithString(std::string_view text, std::string_view formatString,
                                                     const std::shared_ptr<OVNTimeZone>& timeZone);

//! `date` in a date style (OVNDateFormatterShortStyle ...; never a time), in the system
//! time zone and the current locale. A null zone means the default zone, a null locale
//! the current locale. A style beyond OVNDateFormatterFullStyle is a programming error and
//! raises, as OVNDateFormatter::setDateStyle does.
OVN_EXPORT std::string ovn_formattedDateWithStyle(OVNDate date, OVNDateFormatterStyle style);
OVN_EXPORT std::string ovn_formattedDateWithStyle(OVNDate date, OVNDateFormatterStyle style,
                                                  const std::shared_ptr<OVNTimeZone>& timeZone);
OVN_EXPORT std::string ovn_formattedDateWithStyle(OVNDate date, OVNDateFormatterStyle style,
                                                  const std::shared_ptr<OVNLocale>& locale);
OVN_EXPORT std::string ovn_formattedDateWithStyle(OVNDate date, OVNDateFormatterStyle style,
                                                  const std::shared_ptr<OVNTimeZone>& timeZone,
                                                  const std::shared_ptr<OVNLocale>& locale);
//! `date` with a Unicode pattern, in the system time zone and the current locale, unless
//! given others (null as above). A pattern ICU cannot format gives "".
OVN_EXPORT std::string ovn_formattedDateWithFormat(OVNDate date, std::string_view format);
OVN_EXPORT std::string ovn_formattedDateWithFormat(OVNDate date, std::string_view format,
                                                   const std::shared_ptr<OVNTimeZone>& timeZone);
OVN_EXPORT std::string ovn_formattedDateWithFormat(OVNDate date, std::string_view format,
                                                   const std::shared_ptr<OVNLocale>& locale);
OVN_EXPORT std::string ovn_formattedDateWithFormat(OVNDate date, std::string_view format,
                                                   const std::shared_ptr<OVNTimeZone>& timeZone,
                                                   const std::shared_ptr<OVNLocale>& locale);
