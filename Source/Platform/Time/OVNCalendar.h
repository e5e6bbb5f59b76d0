#pragma once
// A calendar (NSCalendar) over ICU: the components of a date, a date from components,
// adding components with clamping (31 March minus one month is the last day of February),
// differences in whole units, and the ranges of units (the days of a month).
//
// Thread-safe: one calendar may be used and configured from any thread; a lock (`lock`)
// guards the ICU calendar, and no user code runs under it.
//
// Time zone: a calendar without a zone of its own uses OVNTimeZone::defaultTimeZone(),
// looked up at each use. Instants beyond ICU's range are clamped to its edges, so dates
// far from today (the distant past and future) never fail.
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Time/OVNDateComponents.h"
#include "Platform/Time/OVNTimeZone.h"
#include "Platform/Values/OVNDate.h"
#include "Platform/Values/OVNRange.h"

// Calendar identifiers (the platform's values, which are also ICU's calendar keywords).
inline constexpr std::string_view OVNCalendarIdentifierGregorian = "gregorian";
inline constexpr std::string_view OVNCalendarIdentifierBuddhist = "buddhist";
inline constexpr std::string_view OVNCalendarIdentifierChinese = "chinese";
inline constexpr std::string_view OVNCalendarIdentifierCoptic = "coptic";
inline constexpr std::string_view OVNCalendarIdentifierEthiopicAmeteMihret = "ethiopic";
inline constexpr std::string_view OVNCalendarIdentifierEthiopicAmeteAlem = "ethiopic-amete-alem";
inline constexpr std::string_view OVNCalendarIdentifierHebrew = "hebrew";
inline constexpr std::string_view OVNCalendarIdentifierISO8601 = "iso8601";
inline constexpr std::string_view OVNCalendarIdentifierIndian = "indian";
inline constexpr std::string_view OVNCalendarIdentifierIslamic = "islamic";
inline constexpr std::string_view OVNCalendarIdentifierIslamicCivil = "islamic-civil";
inline constexpr std::string_view OVNCalendarIdentifierIslamicTabular = "islamic-tbla";
inline constexpr std::string_view OVNCalendarIdentifierIslamicUmmAlQura = "islamic-umalqura";
inline constexpr std::string_view OVNCalendarIdentifierJapanese = "japanese";
inline constexpr std::string_view OVNCalendarIdentifierPersian = "persian";
inline constexpr std::string_view OVNCalendarIdentifierRepublicOfChina = "roc";

class OVN_EXPORT OVNCalendar : public OVNObject {
  OVN_CLASS_NAMED(OVNCalendar, OVNObject, "NSCalendar")
  class Key {  // only the factory makes calendars: every calendar has its ICU calendar
    explicit Key() = default;
    friend class OVNCalendar;
  };

 public:
  class Impl;  // the ICU calendar; defined in the .cpp
  OVNCalendar(Key, std::string identifier, std::unique_ptr<Impl> impl);
  ~OVNCalendar() override;

  //! A calendar of that identifier (one of the constants above), with the week rules of
  //! the current locale; null for an identifier that is none of them.
  static std::shared_ptr<OVNCalendar> calendarWithIdentifier(std::string_view identifier);
  //! The user's calendar: the one set in code, else a Gregorian calendar with the week
  //! rules of the current locale when first asked for, following the default time zone.
  //! Callers share it: changing its time zone or week rules changes them for everyone.
  static std::shared_ptr<OVNCalendar> currentCalendar();
  //! Null restores the default.
  static void setCurrentCalendar(std::shared_ptr<OVNCalendar> calendar);

  const std::string& calendarIdentifier() const { return identifier_; }
  //! The calendar's zone: its own, else the default time zone at this moment.
  std::shared_ptr<OVNTimeZone> timeZone() const;
  //! Null follows the default time zone again.
  void setTimeZone(std::shared_ptr<OVNTimeZone> timeZone);
  //! 1 is Sunday.
  std::uint64_t firstWeekday() const;
  void setFirstWeekday(std::uint64_t weekday);
  std::uint64_t minimumDaysInFirstWeek() const;
  void setMinimumDaysInFirstWeek(std::uint64_t days);

  //! One component of `date` (a single unit); 0 for a value that is no single unit.
  std::int64_t component(OVNCalendarUnit unit, OVNDate date) const;
  //! The components of `units` of `date`, in the calendar's zone (also set in the result).
  OVNDateComponents components(OVNCalendarUnit units, OVNDate date) const;
  //! The difference from `from` to `to` in whole `units`, largest first: each unit takes
  //! what the larger ones left (negative when `to` is earlier).
  OVNDateComponents components(OVNCalendarUnit units, OVNDate from, OVNDate to) const;
  //! The instant the components name, in the components' zone, else the calendar's. Absent
  //! fields take ICU's defaults (1 January 1970, midnight); nullopt when ICU cannot.
  std::optional<OVNDate> dateFromComponents(const OVNDateComponents& components) const;
  //! `date` plus each set field, largest unit first, with smaller fields clamped (no
  //! overflow into larger ones); nullopt when ICU cannot.
  std::optional<OVNDate> dateByAddingComponents(const OVNDateComponents& components, OVNDate date) const;
  //! The values `smaller` takes within the `larger` unit that holds `date` (the days of
  //! its month: {1, 28} in a February); nullopt for pairs that make no sense.
  std::optional<OVNRange> rangeOfUnit(OVNCalendarUnit smaller, OVNCalendarUnit larger, OVNDate date) const;
  //! The values a unit can take in any date (weekdays: {1, 7}); {OVNNotFound, 0} otherwise.
  OVNRange maximumRangeOfUnit(OVNCalendarUnit unit) const;
  //! The first instant of the day that holds `date`.
  OVNDate startOfDayForDate(OVNDate date) const;

  //! "<NSCalendar: gregorian, Europe/Berlin>".
  std::string description() const override;

 private:
  // The ICU calendar, set to the calendar's zone; call with lock_ held.
  Impl& prepared() const;

  std::string identifier_;
  mutable std::mutex lock_;
  std::unique_ptr<Impl> impl_;             // guarded by lock_
  std::shared_ptr<OVNTimeZone> timeZone_;  // guarded by lock_; null: the default
};

using OVNCalendarRef = std::shared_ptr<OVNCalendar>;
