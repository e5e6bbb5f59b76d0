#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Categories/NSBundle+OvrinCore.h"
#include "Categories/NSDate+OvrinCore.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Text/OVNLocale.h"
#include "Support/ScopedEnvironment.h"

namespace {

// Every test runs with a fixed system zone, given by the fixture's parameter.
class NSDateOvrinCoreTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    environment.set("TZ", std::string(GetParam()));
    OVNTimeZone::resetSystemTimeZone();
    OVNTimeZone::setDefaultTimeZone(nullptr);
    ovn_setDefaultCalendarIdentifier(std::string(OVNCalendarIdentifierGregorian));
  }
  void TearDown() override { OVNTimeZone::resetSystemTimeZone(); }

  static OVNDate at(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour = 0,
                    std::int64_t minute = 0) {
    return ovn_dateWithYear(year, month, day, hour, minute, 0);
  }

  ScopedEnvironment environment;
};

INSTANTIATE_TEST_SUITE_P(Zones, NSDateOvrinCoreTest, ::testing::Values("America/New_York", "Europe/Berlin"));

TEST_P(NSDateOvrinCoreTest, ComponentsAndTheKeptYearRules) {
  const OVNDate date = at(2024, 3, 31, 21, 45);
  const std::vector<std::pair<std::uint64_t, std::int64_t>> expected{
      {OVNDateComponentEra, 1},        {OVNDateComponentYear, 2024},
      {OVNDateComponentMonth, 3},      {OVNDateComponentDay, 31},
      {OVNDateComponentHour, 21},      {OVNDateComponentMinute, 45},
      {OVNDateComponentWeekday, 1},    {OVNDateComponentQuarter, 1},
      {OVNDateComponentDayOfYear, 91}, {14, 0},
      {OVNDateComponentSecond, 0},     {OVNDateComponentWeekdayOrdinal, 5}};
  for (const auto& [type, value] : expected) EXPECT_EQ(ovn_componentForDate(date, type, nullptr), value) << type;
  EXPECT_EQ(ovn_timeZone(date)->name(), GetParam());

  EXPECT_EQ(ovn_daysInYear(at(2023, 6, 1)), 265);
  EXPECT_EQ(ovn_daysInYear(at(2024, 6, 1)), 366);
  EXPECT_TRUE(ovn_isLeapYear(2023));
  EXPECT_FALSE(ovn_isLeapYear(2000));
  EXPECT_FALSE(ovn_isInLeapYear(at(1900, 6, 1)));
  EXPECT_TRUE(ovn_isInLeapYear(at(2000, 6, 1)));
  EXPECT_EQ(ovn_daysInMonth(at(2024, 2, 10)), 29);
  EXPECT_TRUE(ovn_isWeekend(date));
  EXPECT_FALSE(ovn_isWeekend(at(2024, 4, 1)));

  ovn_setDefaultCalendarIdentifier(std::string(OVNCalendarIdentifierHebrew));
  EXPECT_EQ(ovn_year(date), 5784);
  ovn_setDefaultCalendarIdentifier(std::nullopt);
  EXPECT_EQ(ovn_defaultCalendarIdentifier(), std::nullopt);
  EXPECT_EQ(ovn_year(date), 2024) << "none means Gregorian";
}

TEST_P(NSDateOvrinCoreTest, DayPeriodsChangeAtTheirHours) {
  struct Case {
    std::int64_t hour, minute;
    bool earlyMorning, morning, midday, afternoon, evening, night, day, pm;
  };
  for (const Case& c : std::vector<Case>{{3, 59, false, false, false, false, false, true, false, false},
                                         {4, 0, true, false, false, false, false, false, true, false},
                                         {8, 0, false, true, false, false, false, false, true, false},
                                         {12, 0, false, false, true, false, false, false, true, true},
                                         {16, 59, false, false, false, true, false, false, true, true},
                                         {20, 59, false, false, false, false, true, false, false, true},
                                         {21, 0, false, false, false, false, false, true, false, true}}) {
    const OVNDate date = at(2026, 11, 24, c.hour, c.minute);
    const std::vector<bool> got{ovn_isEarlyMorning(date), ovn_isMorning(date), ovn_isMidday(date),
                                ovn_isAfternoon(date),    ovn_isEvening(date), ovn_isNight(date),
                                ovn_isDay(date),          ovn_isPM(date)};
    const std::vector<bool> want{c.earlyMorning, c.morning, c.midday, c.afternoon, c.evening, c.night, c.day, c.pm};
    EXPECT_EQ(got, want) << c.hour << ":" << c.minute;
  }
}

// Spring forward: 8 March 2026 in New York, 29 March 2026 in Berlin.
TEST_P(NSDateOvrinCoreTest, ArithmeticAndDayTestsAcrossDaylightSaving) {
  const bool newYork = std::string(GetParam()) == "America/New_York";
  const std::int64_t changeDay = newYork ? 8 : 29;
  const OVNDate evening = at(2026, 3, changeDay - 1, 22);
  OVNTestClock clock(evening.timeIntervalSinceReferenceDate());
  const OVNDate nextEvening = ovn_dateByAddingDays(evening, 1);
  EXPECT_EQ(ovn_hoursFrom(nextEvening, evening), 23.0) << "a calendar day, not 24 hours";
  EXPECT_EQ(ovn_hour(nextEvening), 22);
  EXPECT_TRUE(ovn_isTomorrow(nextEvening));
  EXPECT_TRUE(ovn_isTomorrow(at(2026, 3, changeDay, 0, 30)));
  EXPECT_TRUE(ovn_isToday(at(2026, 3, changeDay - 1, 0, 0)));
  EXPECT_TRUE(ovn_isYesterday(at(2026, 3, changeDay - 2, 23, 59)));
  EXPECT_TRUE(ovn_isTonight(evening));
  EXPECT_FALSE(ovn_isTonight(nextEvening));
  clock.advance(3 * 3600);  // past midnight: the change day is today now
  EXPECT_TRUE(ovn_isToday(nextEvening));
  EXPECT_TRUE(ovn_isYesterday(evening));
  EXPECT_TRUE(ovn_isDaylightSavingsTime(nextEvening));
  EXPECT_FALSE(ovn_isDaylightSavingsTime(evening));
  EXPECT_TRUE(ovn_isFuture(nextEvening));

  EXPECT_EQ(ovn_dateBySubtractingMonths(at(2026, 3, 31, 9), 1), at(2026, 2, 28, 9));
  EXPECT_EQ(ovn_dateByIgnoringTime(nextEvening), at(2026, 3, changeDay));
  EXPECT_EQ(ovn_dateByIgnoringSeconds(nextEvening.dateByAddingTimeInterval(42)), nextEvening);
  EXPECT_EQ(ovn_daysFrom(at(2026, 3, 1), at(2026, 3, 4)), -3);
  EXPECT_EQ(ovn_daysFrom(at(2026, 3, 4), at(2026, 3, 1)), 3);
  EXPECT_EQ(ovn_monthsFrom(at(2027, 5, 2), at(2026, 3, 1)), 14);
  EXPECT_EQ(ovn_yearsFrom(at(2026, 3, 1), at(2027, 3, 1)), -1);
  EXPECT_EQ(ovn_weeksFrom(at(2026, 3, 22), at(2026, 3, 1)), 3);
  EXPECT_TRUE(ovn_isEqualToDateIgnoringTime(evening, at(2026, 3, changeDay - 1, 1)));
  EXPECT_TRUE(ovn_isEarlierThanDateIgnoringTime(evening, nextEvening));
  EXPECT_TRUE(ovn_isLaterThanOrEqualTo(evening, evening));
  EXPECT_FALSE(ovn_isLaterThan(evening, evening));
}

TEST_P(NSDateOvrinCoreTest, FarDatesAndOtherZones) {
  for (const OVNDate far : {OVNDate::distantPast(), OVNDate::distantFuture(), at(1, 1, 1), at(9999, 12, 31)}) {
    (void)ovn_daysInYear(far);
    (void)ovn_isToday(far);
    (void)ovn_dateByAddingYears(far, 100000);
    (void)ovn_monthsFrom(far, OVNDate());
  }
  EXPECT_EQ(ovn_year(at(9999, 12, 31)), 9999);
  const auto tokyo = OVNTimeZone::timeZoneWithName("Asia/Tokyo");
  EXPECT_EQ(ovn_dateWithYear(2026, 1, 1, tokyo), OVNDate::dateWithTimeIntervalSince1970(1767193200));
  const OVNDate now = OVNDate::now();
  EXPECT_EQ(ovn_dateWithTimeZone(now, *tokyo).timeIntervalSinceDate(now),
            double(tokyo->secondsFromGMT() - OVNTimeZone::systemTimeZone()->secondsFromGMT()));
}

TEST_P(NSDateOvrinCoreTest, TimeAgoPhrasesInEveryStyle) {
  const OVNDate now = at(2026, 11, 24, 12);
  OVNTestClock clock(now.timeIntervalSinceReferenceDate());
  const auto ago = [&](double seconds, std::uint64_t style) {
    return ovn_timeAgoSinceDateFormat(now.dateByAddingTimeInterval(-seconds), now, style);
  };
  struct Case {
    double secondsAgo;
    std::uint64_t style;
    const char* phrase;
  };
  for (const Case& c : std::vector<Case>{{45, OVNDateAgoFormatWords, "45 seconds ago"},
                                         {1, OVNDateAgoFormatWords, "just now"},
                                         {1, OVNDateAgoFormatNumericTimes, "1 second ago"},
                                         {0, OVNDateAgoFormatNumeric, "1 second ago"},
                                         {3599, OVNDateAgoFormatWords, "59 minutes ago"},
                                         {3660, OVNDateAgoFormatWords, "an hour ago"},
                                         {3660, OVNDateAgoFormatNumericDates, "an hour ago"},
                                         {3660, OVNDateAgoFormatNumeric, "1 hour ago"},
                                         {3660, OVNDateAgoFormatNumericTimes, "1 hour ago"},
                                         {23 * 3600 + 3540, OVNDateAgoFormatWords, "23 hours ago"},
                                         {8 * 86400, OVNDateAgoFormatWords, "last week"},
                                         {8 * 86400, OVNDateAgoFormatNumericDates, "1 week ago"},
                                         {-3 * 3600, OVNDateAgoFormatWords, "3 hours from now"},
                                         {-61 * 86400, OVNDateAgoFormatAbbreviated, "2M"},
                                         {400 * 86400, OVNDateAgoFormatAbbreviated, "1y"}}) {
    EXPECT_EQ(ago(c.secondsAgo, c.style), c.phrase) << c.secondsAgo << " s, style " << c.style;
  }
  // Whole days count midnights: 24 hours across one is "yesterday", 30 across two "2 days".
  EXPECT_EQ(ovn_timeAgoSinceNow(at(2026, 11, 23, 12)), "yesterday");
  EXPECT_EQ(ovn_timeAgoSinceDate(at(2026, 11, 22, 20), at(2026, 11, 24, 2)), "2 days ago");
  EXPECT_EQ(ovn_timeAgoSinceDate(at(2026, 11, 25, 13), now, true), "1 day from now");
  EXPECT_EQ(ovn_stringForDateAgoFormat(now, OVNDateAgoFormatWords, 7, 1, false), std::nullopt);
}

TEST_P(NSDateOvrinCoreTest, DayNamesCountsAndRelativeTexts) {
  const auto savedLocale = OVNLocale::currentLocale();
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("en_US"));
  const OVNDate now = at(2026, 11, 24, 15);  // a Tuesday afternoon
  OVNTestClock clock(now.timeIntervalSinceReferenceDate());
  const std::vector<std::pair<OVNDate, std::string>> names{{at(2026, 11, 24, 22), OVNLocalizedString("Tonight")},
                                                           {at(2026, 11, 24, 9), OVNLocalizedString("Today")},
                                                           {at(2026, 11, 25, 3), OVNLocalizedString("Tomorrow Night")},
                                                           {at(2026, 11, 25, 4), OVNLocalizedString("Tomorrow")},
                                                           {at(2026, 11, 23, 23), OVNLocalizedString("Last Night")},
                                                           {at(2026, 11, 27, 12), OVNLocalizedString("Friday")},
                                                           {at(2026, 11, 27, 22), "Friday"}};
  for (const auto& [date, name] : names) EXPECT_EQ(ovn_dayNameRelativeToNow(date, true), name) << date.description();
  OVNLocale::setCurrentLocale(savedLocale);

  EXPECT_EQ(ovn_dateStringRelativeToDate(now.dateByAddingTimeInterval(36 * 3600), now, OVNDayInterval), "2 days");
  EXPECT_EQ(ovn_dateStringRelativeToDate(now.dateByAddingTimeInterval(-3600), now, OVNHourInterval), "-1 hours");
  EXPECT_EQ(ovn_dateStringRelativeToNowUsingInterval(now.dateByAddingTimeInterval(70), 7), "10 (null)");

  const double start = now.timeIntervalSinceReferenceDate();
  const std::vector<std::pair<const char*, std::optional<double>>> texts{{"-3 days", start - 3 * 86400},
                                                                         {"in 2 hours and 30 minutes", start + 1800},
                                                                         {"1 month", start + 2635200},
                                                                         {"2 weeks", start},
                                                                         {"3 Days", start},
                                                                         {"tomorrow", std::nullopt},
                                                                         {"", std::nullopt}};
  for (const auto& [text, expected] : texts) {
    const auto date = ovn_relativeDateWithString(text);
    EXPECT_EQ(date ? std::optional(date->timeIntervalSinceReferenceDate()) : std::nullopt, expected) << text;
  }
}

}  // namespace
