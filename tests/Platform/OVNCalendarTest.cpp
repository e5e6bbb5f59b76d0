#include <gtest/gtest.h>

#include <vector>

#include "Platform/Time/OVNCalendar.h"

namespace {

class OVNCalendarTest : public ::testing::Test {
 protected:
  void SetUp() override {
    calendar = OVNCalendar::calendarWithIdentifier(OVNCalendarIdentifierGregorian);
    ASSERT_TRUE(calendar);
    calendar->setTimeZone(OVNTimeZone::timeZoneWithName("America/New_York"));
  }
  // Local wall time in the calendar's zone.
  OVNDate local(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour = 0,
                std::int64_t minute = 0) const {
    OVNDateComponents components;
    components.year = year;
    components.month = month;
    components.day = day;
    components.hour = hour;
    components.minute = minute;
    return calendar->dateFromComponents(components).value();
  }
  static OVNDateComponents one(OVNCalendarUnit unit, std::int64_t value) {
    OVNDateComponents components;
    components.setValue(value, unit);
    return components;
  }

  OVNCalendarRef calendar;
};

TEST_F(OVNCalendarTest, ReadsComponentsInItsZone) {
  const OVNDate instant = OVNDate::dateWithTimeIntervalSince1970(1795000000);  // 2026-11-18 11:06:40 UTC
  const OVNDateComponents parts = calendar->components(
      OVNCalendarUnitEra | OVNCalendarUnitYear | OVNCalendarUnitMonth | OVNCalendarUnitDay | OVNCalendarUnitHour |
          OVNCalendarUnitMinute | OVNCalendarUnitWeekday | OVNCalendarUnitQuarter | OVNCalendarUnitDayOfYear,
      instant);
  EXPECT_EQ(parts.era, 1);
  EXPECT_EQ(parts.year, 2026);
  EXPECT_EQ(parts.month, 11);
  EXPECT_EQ(parts.day, 18);
  EXPECT_EQ(parts.hour, 6) << "EST is UTC-5";
  EXPECT_EQ(parts.minute, 6);
  EXPECT_EQ(parts.weekday, 4) << "a Wednesday";
  EXPECT_EQ(parts.quarter, 4);
  EXPECT_EQ(parts.dayOfYear, 322);
  EXPECT_FALSE(parts.second) << "only the units asked for";
  EXPECT_EQ(parts.timeZone->name(), "America/New_York");
  EXPECT_EQ(calendar->component(OVNCalendarUnitHour, instant), 6);
  calendar->setTimeZone(OVNTimeZone::timeZoneWithName("Europe/Berlin"));
  EXPECT_EQ(calendar->component(OVNCalendarUnitHour, instant), 12);
  EXPECT_EQ(calendar->component(OVNCalendarUnitHour | OVNCalendarUnitDay, instant), 0) << "not a single unit";
}

TEST_F(OVNCalendarTest, ArithmeticClampsAndKeepsWallTimeAcrossDaylightSaving) {
  // 8 March 2026: clocks in New York go from 02:00 to 03:00.
  const OVNDate before = local(2026, 3, 7, 12);
  const OVNDate after = calendar->dateByAddingComponents(one(OVNCalendarUnitDay, 1), before).value();
  EXPECT_EQ(after.timeIntervalSinceDate(before), 23 * 3600.0);
  EXPECT_EQ(calendar->component(OVNCalendarUnitHour, after), 12);
  EXPECT_EQ(calendar->startOfDayForDate(local(2026, 3, 8, 15)), local(2026, 3, 8));

  EXPECT_EQ(calendar->dateByAddingComponents(one(OVNCalendarUnitMonth, -1), local(2024, 3, 31, 9)),
            local(2024, 2, 29, 9));
  EXPECT_EQ(calendar->dateByAddingComponents(one(OVNCalendarUnitMonth, -1), local(2023, 3, 31, 9)),
            local(2023, 2, 28, 9));
  EXPECT_EQ(calendar->dateByAddingComponents(one(OVNCalendarUnitYear, 1), local(2024, 2, 29)), local(2025, 2, 28));

  OVNDateComponents inBerlin;
  inBerlin.year = 2026;
  inBerlin.month = 7;
  inBerlin.day = 1;
  inBerlin.timeZone = OVNTimeZone::timeZoneWithName("Europe/Berlin");
  EXPECT_EQ(calendar->dateFromComponents(inBerlin), OVNDate::dateWithTimeIntervalSince1970(1782856800))
      << "midnight CEST";
  EXPECT_EQ(calendar->component(OVNCalendarUnitHour, local(2026, 7, 1, 5)), 5) << "the calendar's own zone again";
}

TEST_F(OVNCalendarTest, DifferencesCountWholeUnitsLargestFirst) {
  const OVNDate from = local(2024, 1, 31, 10);
  const OVNDate to = local(2025, 3, 2, 9, 30);
  const OVNDateComponents difference = calendar->components(
      OVNCalendarUnitYear | OVNCalendarUnitMonth | OVNCalendarUnitDay | OVNCalendarUnitHour | OVNCalendarUnitMinute,
      from, to);
  EXPECT_EQ(difference.year, 1);
  EXPECT_EQ(difference.month, 1);
  EXPECT_EQ(difference.day, 1) << "31 January plus a year and a month is 28 February 2025";
  EXPECT_EQ(difference.hour, 23);
  EXPECT_EQ(difference.minute, 30);
  EXPECT_EQ(calendar->components(OVNCalendarUnitDay, local(2026, 3, 10), local(2026, 3, 7)).day, -3);
  EXPECT_EQ(calendar->components(OVNCalendarUnitWeekOfYear, local(2026, 1, 1), local(2026, 1, 20)).weekOfYear, 2);
}

TEST_F(OVNCalendarTest, RangesIdentifiersAndFarDates) {
  EXPECT_EQ(calendar->rangeOfUnit(OVNCalendarUnitDay, OVNCalendarUnitMonth, local(2024, 2, 10)), OVNMakeRange(1, 29));
  EXPECT_EQ(calendar->rangeOfUnit(OVNCalendarUnitDay, OVNCalendarUnitMonth, local(2023, 2, 10)), OVNMakeRange(1, 28));
  EXPECT_EQ(calendar->rangeOfUnit(OVNCalendarUnitDay, OVNCalendarUnitYear, local(2024, 2, 10)), OVNMakeRange(1, 366));
  EXPECT_EQ(calendar->rangeOfUnit(OVNCalendarUnitWeekday, OVNCalendarUnitSecond, local(2024, 2, 10)), std::nullopt);
  EXPECT_EQ(calendar->maximumRangeOfUnit(OVNCalendarUnitWeekday), OVNMakeRange(1, 7));
  EXPECT_EQ(calendar->maximumRangeOfUnit(OVNCalendarUnitMonth), OVNMakeRange(1, 12));

  EXPECT_FALSE(OVNCalendar::calendarWithIdentifier("julian"));
  EXPECT_FALSE(OVNCalendar::calendarWithIdentifier(""));
  auto hebrew = OVNCalendar::calendarWithIdentifier(OVNCalendarIdentifierHebrew);
  ASSERT_TRUE(hebrew);
  hebrew->setTimeZone(OVNTimeZone::timeZoneWithName("UTC"));
  EXPECT_EQ(hebrew->component(OVNCalendarUnitYear, OVNDate::dateWithTimeIntervalSince1970(1795000000)), 5787);

  for (const OVNDate far : {OVNDate::distantPast(), OVNDate::distantFuture(), OVNDate(1e300), OVNDate(-1e300)}) {
    (void)calendar->components(OVNCalendarUnitYear | OVNCalendarUnitDay, far);
    (void)calendar->dateByAddingComponents(one(OVNCalendarUnitYear, 1000000), far);
    (void)calendar->components(OVNCalendarUnitYear, far, OVNDate());
  }
  EXPECT_EQ(calendar->component(OVNCalendarUnitYear, OVNDate::distantFuture()), 4000)
      << "4001 begins later in New York";

  auto saved = OVNCalendar::currentCalendar();
  EXPECT_EQ(saved->calendarIdentifier(), OVNCalendarIdentifierGregorian);
  OVNCalendar::setCurrentCalendar(hebrew);
  EXPECT_EQ(OVNCalendar::currentCalendar(), hebrew);
  OVNCalendar::setCurrentCalendar(nullptr);
  EXPECT_NE(OVNCalendar::currentCalendar(), hebrew);
}

}  // namespace
