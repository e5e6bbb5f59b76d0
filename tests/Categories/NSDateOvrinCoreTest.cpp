#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Categories/NSDate+OvrinCore.h"
#include "Platform/Dispatch/OVNTestClock.h"
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

}  // namespace
