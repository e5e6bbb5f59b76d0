#include "Platform/Time/OVNCalendar.h"

#include <unicode/calendar.h>
#include <unicode/locid.h>

#include <algorithm>
#include <array>
#include <utility>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Time/detail/OVNICUDate.h"
#include "Platform/Time/detail/OVNICUTimeZone.h"
#include "Platform/Values/OVNFormat.h"

using ovn::detail::OVNICUDate;
using ovn::detail::OVNICUTimeZone;

OVN_PROPERTIES(OVNCalendar, calendarIdentifier, (timeZone, setTimeZone), (firstWeekday, setFirstWeekday),
               (minimumDaysInFirstWeek, setMinimumDaysInFirstWeek))

class OVNCalendar::Impl {
 public:
  explicit Impl(std::unique_ptr<icu::Calendar> calendar) : calendar(std::move(calendar)) {}
  std::unique_ptr<icu::Calendar> calendar;
  std::shared_ptr<OVNTimeZone> appliedZone;  // the zone `calendar` is set to
};

namespace {

constexpr std::string_view kIdentifiers[] = {OVNCalendarIdentifierGregorian,
                                             OVNCalendarIdentifierBuddhist,
                                             OVNCalendarIdentifierChinese,
                                             OVNCalendarIdentifierCoptic,
                                             OVNCalendarIdentifierEthiopicAmeteMihret,
                                             OVNCalendarIdentifierEthiopicAmeteAlem,
                                             OVNCalendarIdentifierHebrew,
                                             OVNCalendarIdentifierISO8601,
                                             OVNCalendarIdentifierIndian,
                                             OVNCalendarIdentifierIslamic,
                                             OVNCalendarIdentifierIslamicCivil,
                                             OVNCalendarIdentifierIslamicTabular,
                                             OVNCalendarIdentifierIslamicUmmAlQura,
                                             OVNCalendarIdentifierJapanese,
                                             OVNCalendarIdentifierPersian,
                                             OVNCalendarIdentifierRepublicOfChina};

// The units with an ICU field of their own, largest first (the order differences and
// additions take). Quarter and nanosecond are derived.
constexpr std::array<std::pair<OVNCalendarUnit, UCalendarDateFields>, 13> kFields{{
    {OVNCalendarUnitEra, UCAL_ERA},
    {OVNCalendarUnitYear, UCAL_YEAR},
    {OVNCalendarUnitYearForWeekOfYear, UCAL_YEAR_WOY},
    {OVNCalendarUnitMonth, UCAL_MONTH},
    {OVNCalendarUnitWeekOfYear, UCAL_WEEK_OF_YEAR},
    {OVNCalendarUnitWeekOfMonth, UCAL_WEEK_OF_MONTH},
    {OVNCalendarUnitDayOfYear, UCAL_DAY_OF_YEAR},
    {OVNCalendarUnitDay, UCAL_DATE},
    {OVNCalendarUnitWeekdayOrdinal, UCAL_DAY_OF_WEEK_IN_MONTH},
    {OVNCalendarUnitWeekday, UCAL_DAY_OF_WEEK},
    {OVNCalendarUnitHour, UCAL_HOUR_OF_DAY},
    {OVNCalendarUnitMinute, UCAL_MINUTE},
    {OVNCalendarUnitSecond, UCAL_SECOND},
}};

std::optional<UCalendarDateFields> fieldOf(OVNCalendarUnit unit) {
  for (const auto& [candidate, field] : kFields) {
    if (candidate == unit) return field;
  }
  return std::nullopt;
}

// ICU counts months from 0; the platform from 1.
std::int64_t fromICU(UCalendarDateFields field, std::int32_t value) { return field == UCAL_MONTH ? value + 1 : value; }
std::int32_t toICU(UCalendarDateFields field, std::int64_t value) {
  return static_cast<std::int32_t>(field == UCAL_MONTH ? value - 1 : value);
}

std::unique_ptr<icu::Calendar> makeICUCalendar(std::string_view identifier) {
  icu::Locale locale(OVNLocale::currentLocale()->localeIdentifier().c_str());
  UErrorCode status = U_ZERO_ERROR;
  locale.setKeywordValue("calendar", std::string(identifier).c_str(), status);
  if (U_FAILURE(status)) return nullptr;
  std::unique_ptr<icu::Calendar> calendar(icu::Calendar::createInstance(locale, status));
  if (U_FAILURE(status) || !calendar) return nullptr;
  return calendar;
}

std::mutex currentLock;
std::shared_ptr<OVNCalendar> currentOverride;  // guarded by currentLock
std::shared_ptr<OVNCalendar> currentDefault;   // guarded by currentLock

}  // namespace

OVNCalendar::OVNCalendar(Key, std::string identifier, std::unique_ptr<Impl> impl)
    : identifier_(std::move(identifier)), impl_(std::move(impl)) {}

OVNCalendar::~OVNCalendar() = default;

std::shared_ptr<OVNCalendar> OVNCalendar::calendarWithIdentifier(std::string_view identifier) {
  if (std::find(std::begin(kIdentifiers), std::end(kIdentifiers), identifier) == std::end(kIdentifiers)) return nullptr;
  auto calendar = makeICUCalendar(identifier);
  if (!calendar) return nullptr;
  return OVNMake<OVNCalendar>(Key(), std::string(identifier), std::make_unique<Impl>(std::move(calendar)));
}

std::shared_ptr<OVNCalendar> OVNCalendar::currentCalendar() {
  std::lock_guard guard(currentLock);
  if (currentOverride) return currentOverride;
  // Made once: an ICU calendar costs microseconds to make, and the day tests ask for it on
  // every call. It follows the default time zone by itself.
  if (!currentDefault) currentDefault = calendarWithIdentifier(OVNCalendarIdentifierGregorian);
  return currentDefault;
}

void OVNCalendar::setCurrentCalendar(std::shared_ptr<OVNCalendar> calendar) {
  std::lock_guard guard(currentLock);
  currentOverride = std::move(calendar);
}

std::shared_ptr<OVNTimeZone> OVNCalendar::timeZone() const {
  std::lock_guard guard(lock_);
  return timeZone_ ? timeZone_ : OVNTimeZone::defaultTimeZone();
}

void OVNCalendar::setTimeZone(std::shared_ptr<OVNTimeZone> timeZone) {
  std::lock_guard guard(lock_);
  timeZone_ = std::move(timeZone);
}

std::uint64_t OVNCalendar::firstWeekday() const {
  std::lock_guard guard(lock_);
  return static_cast<std::uint64_t>(impl_->calendar->getFirstDayOfWeek());
}

void OVNCalendar::setFirstWeekday(std::uint64_t weekday) {
  if (weekday < UCAL_SUNDAY || weekday > UCAL_SATURDAY) return;
  std::lock_guard guard(lock_);
  impl_->calendar->setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(weekday));
}

std::uint64_t OVNCalendar::minimumDaysInFirstWeek() const {
  std::lock_guard guard(lock_);
  return impl_->calendar->getMinimalDaysInFirstWeek();
}

void OVNCalendar::setMinimumDaysInFirstWeek(std::uint64_t days) {
  if (days < 1 || days > 7) return;
  std::lock_guard guard(lock_);
  impl_->calendar->setMinimalDaysInFirstWeek(static_cast<uint8_t>(days));
}

OVNCalendar::Impl& OVNCalendar::prepared() const {
  auto zone = timeZone_ ? timeZone_ : OVNTimeZone::defaultTimeZone();
  if (zone != impl_->appliedZone) {
    impl_->calendar->adoptTimeZone(OVNICUTimeZone::of(*zone).clone().release());
    impl_->appliedZone = std::move(zone);
  }
  return *impl_;
}

std::int64_t OVNCalendar::component(OVNCalendarUnit unit, OVNDate date) const {
  return components(unit, date).valueForComponent(unit).value_or(0);
}

OVNDateComponents OVNCalendar::components(OVNCalendarUnit units, OVNDate date) const {
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(OVNICUDate::fromDate(date), status);
  OVNDateComponents result;
  result.timeZone = impl_->appliedZone;
  for (const auto& [unit, field] : kFields) {
    if (!(units & unit)) continue;
    const std::int32_t value = calendar.get(field, status);
    if (U_SUCCESS(status)) result.setValue(fromICU(field, value), unit);
  }
  if (units & OVNCalendarUnitQuarter) {
    const std::int32_t month = calendar.get(UCAL_MONTH, status);
    if (U_SUCCESS(status)) result.quarter = month / 3 + 1;
  }
  if (units & OVNCalendarUnitNanosecond) {
    const std::int32_t milliseconds = calendar.get(UCAL_MILLISECOND, status);
    if (U_SUCCESS(status)) result.nanosecond = std::int64_t{milliseconds} * 1000000;
  }
  return result;
}

OVNDateComponents OVNCalendar::components(OVNCalendarUnit units, OVNDate from, OVNDate to) const {
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(OVNICUDate::fromDate(from), status);
  const UDate target = OVNICUDate::fromDate(to);
  OVNDateComponents result;
  // fieldDifference moves the calendar on by the whole units it counts, so each smaller
  // unit counts only what the larger ones left.
  for (OVNCalendarUnit unit : {OVNCalendarUnitEra, OVNCalendarUnitYear, OVNCalendarUnitMonth, OVNCalendarUnitWeekOfYear,
                               OVNCalendarUnitDay, OVNCalendarUnitHour, OVNCalendarUnitMinute, OVNCalendarUnitSecond}) {
    if (!(units & unit)) continue;
    const std::int32_t difference = calendar.fieldDifference(target, *fieldOf(unit), status);
    if (U_SUCCESS(status)) result.setValue(difference, unit);
  }
  return result;
}

std::optional<OVNDate> OVNCalendar::dateFromComponents(const OVNDateComponents& components) const {
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  calendar.clear();  // only the fields given count; every other operation sets the time whole
  if (components.timeZone) calendar.setTimeZone(OVNICUTimeZone::of(*components.timeZone).zone());
  for (const auto& [unit, field] : kFields) {
    if (const auto value = components.valueForComponent(unit)) calendar.set(field, toICU(field, *value));
  }
  UErrorCode status = U_ZERO_ERROR;
  const UDate when = calendar.getTime(status);
  if (components.timeZone) impl_->appliedZone = nullptr;  // set anew on the next use
  if (U_FAILURE(status)) return std::nullopt;
  const double nanoseconds = static_cast<double>(components.nanosecond.value_or(0));
  return OVNICUDate::toDate(when).dateByAddingTimeInterval(nanoseconds / 1e9);
}

std::optional<OVNDate> OVNCalendar::dateByAddingComponents(const OVNDateComponents& components, OVNDate date) const {
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(OVNICUDate::fromDate(date), status);
  for (const auto& [unit, field] : kFields) {
    const auto value = components.valueForComponent(unit);
    if (value && *value != 0) calendar.add(field, static_cast<std::int32_t>(*value), status);
  }
  const UDate when = calendar.getTime(status);
  if (U_FAILURE(status)) return std::nullopt;
  return OVNICUDate::toDate(when);
}

std::optional<OVNRange> OVNCalendar::rangeOfUnit(OVNCalendarUnit smaller, OVNCalendarUnit larger, OVNDate date) const {
  // The pairs the library needs: days in a month or a year, months in a year, hours in a day.
  const bool known =
      (smaller == OVNCalendarUnitDay && (larger == OVNCalendarUnitMonth || larger == OVNCalendarUnitYear)) ||
      (smaller == OVNCalendarUnitMonth && larger == OVNCalendarUnitYear) ||
      (smaller == OVNCalendarUnitHour && larger == OVNCalendarUnitDay);
  if (!known) return std::nullopt;
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(OVNICUDate::fromDate(date), status);
  const UCalendarDateFields field =
      smaller == OVNCalendarUnitDay && larger == OVNCalendarUnitYear ? UCAL_DAY_OF_YEAR : *fieldOf(smaller);
  const std::int32_t minimum = calendar.getActualMinimum(field, status);
  const std::int32_t maximum = calendar.getActualMaximum(field, status);
  if (U_FAILURE(status)) return std::nullopt;
  const auto first = static_cast<std::size_t>(fromICU(field, minimum));
  return OVNMakeRange(first, static_cast<std::size_t>(maximum - minimum + 1));
}

OVNRange OVNCalendar::maximumRangeOfUnit(OVNCalendarUnit unit) const {
  const auto field = fieldOf(unit);
  if (!field) return OVNRange{};
  std::lock_guard guard(lock_);
  const icu::Calendar& calendar = *impl_->calendar;
  const std::int32_t minimum = calendar.getMinimum(*field);
  const std::int32_t maximum = calendar.getMaximum(*field);
  return OVNMakeRange(static_cast<std::size_t>(fromICU(*field, minimum)),
                      static_cast<std::size_t>(maximum - minimum + 1));
}

OVNDate OVNCalendar::startOfDayForDate(OVNDate date) const {
  std::lock_guard guard(lock_);
  icu::Calendar& calendar = *prepared().calendar;
  UErrorCode status = U_ZERO_ERROR;
  calendar.setTime(OVNICUDate::fromDate(date), status);
  for (UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND}) {
    calendar.set(field, 0);
  }
  const UDate start = calendar.getTime(status);
  return U_SUCCESS(status) ? OVNICUDate::toDate(start) : date;
}

std::string OVNCalendar::description() const {
  return OVNFormat("<NSCalendar: %@, %@>", identifier_, timeZone()->name());
}
