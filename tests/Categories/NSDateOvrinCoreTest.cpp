#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "Categories/NSBundle+OvrinCore.h"
#include "Categories/NSDate+OvrinCore.h"
#include "Categories/NSTimeZone+OvrinCore.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Text/OVNLocale.h"
#include "Support/ChildProcess.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

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

// The library chooses its strings' language once per process, so the German names are
// checked in a child process that starts in German.
TEST_P(NSDateOvrinCoreTest, DayNamesInGermanFromTheLibrarysBundle) {
  constexpr const char* childVariable = "OVRIN_TEST_GERMAN_CHILD";
  if (!std::getenv(childVariable)) {
    TemporaryDirectory directory("ovn-german-day-names");
    const std::string log = directory.path() + "/child.log";
    environment.set(childVariable, "1");
    environment.set("LANGUAGE", "de");
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    pid_t child = ChildProcess::spawn({std::filesystem::read_symlink("/proc/self/exe").string(),
                                       std::string("--gtest_filter=") + test->test_suite_name() + "." + test->name()},
                                      log);
    const int status = ChildProcess::waitForExit(child);
    std::ifstream stream(log);
    const std::string output(std::istreambuf_iterator<char>(stream), {});
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << output;
    EXPECT_NE(output.find("[  PASSED  ] 1 test"), std::string::npos) << output;
    return;
  }
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("de_DE"));
  OVNTestClock clock(at(2026, 11, 24, 15).timeIntervalSinceReferenceDate());
  EXPECT_EQ(ovn_dayNameRelativeToNow(at(2026, 11, 24, 22), false), "Heute Nacht");
  EXPECT_EQ(ovn_dayNameRelativeToNow(at(2026, 11, 25, 3), false), "Morgen Nacht");
  EXPECT_EQ(ovn_dayNameRelativeToNow(at(2026, 11, 23, 12), false), "Gestern");
  EXPECT_EQ(ovn_dayNameRelativeToNow(at(2026, 11, 27, 12), false), "Freitag");
  // The zone moves only the weekday name: 00:30 on Saturday here is Friday in Honolulu.
  EXPECT_EQ(ovn_dayNameRelativeToNow(at(2026, 11, 28, 0, 30), false, OVNTimeZone::timeZoneWithName("Pacific/Honolulu")),
            "Freitag");
  OVNLocale::setCurrentLocale(nullptr);
}

TEST_P(NSDateOvrinCoreTest, ParsingNumericFormsPatternsAndRelativeTexts) {
  const OVNDate now = at(2026, 11, 24, 15);
  OVNTestClock clock(now.timeIntervalSinceReferenceDate());
  const std::vector<std::pair<std::string, std::optional<OVNDate>>> cases{
      {"05/12/2016", at(2016, 5, 12)},
      {"05-12-2016", at(2016, 5, 12)},
      {"5/12/2016", now},  // not a numeric form: a count and a word that names no unit
      {"-2 days", now.dateByAddingTimeInterval(-2 * OVNDayInterval)},
      {"13/45/2016", std::nullopt},
      {"05/12/2016\n", std::nullopt},
      {"no digits", std::nullopt},
      {"", std::nullopt},
      {"\xff\xfe 3 days", std::nullopt},
      {std::string(5000, '1') + " days", std::nullopt}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(ovn_dateWithString(text), expected) << text.substr(0, 20);

  const auto tokyo = OVNTimeZone::timeZoneWithName("Asia/Tokyo");
  EXPECT_EQ(ovn_dateWithString("2016-05-12T14:00:00-05:00", "yyyy-MM-dd'T'HH:mm:ssZZZZZ"),
            OVNDate::dateWithTimeIntervalSince1970(1463079600));
  EXPECT_EQ(ovn_dateWithString("2016-05-12 14:00", "yyyy-MM-dd HH:mm", tokyo),
            OVNDate::dateWithTimeIntervalSince1970(1463029200));
  EXPECT_EQ(ovn_dateWithString("2016-05-12 14:00", "yyyy-MM-dd HH:mm"), at(2016, 5, 12, 14));
  EXPECT_EQ(ovn_dateWithString("2016-05-12", "yyyy-MM-dd HH:mm"), std::nullopt);
}

TEST_P(NSDateOvrinCoreTest, TimeZonesFromTheFixedPositionsOfTimeStamps) {
  const std::vector<std::pair<const char*, std::int64_t>> cases{
      {"2016-05-12T14:00:00+02:00", 2 * 3600},
      {"2016-05-12T14:00:00-05:00", -5 * 3600},
      {"2016-05-12T14:00:00-05:30", -4 * 3600 - 30 * 60},  // the minutes keep their own sign
      {"2016-05-12T14:00:00.000-05:00", -5 * 60},          // read at the same positions
      {"2016-05-12T14:00:00", 0},
      {"2016-05-12T14:00:00Z", 0},
      {"2016-05-12T14:00:00+99:00", 0},
      {"2016-05-12T14:00:00+05:99999999999999999999", 0},
      {"not a time stamp, but long enough", 0},
      {"", 0}};
  for (const auto& [text, seconds] : cases) {
    const auto zone = ovn_timeZoneFromDateString(text);
    ASSERT_NE(zone, nullptr) << text;
    EXPECT_EQ(zone->secondsFromGMT(), seconds) << text;
    EXPECT_FALSE(zone->isDaylightSavingTimeForDate(OVNDate::now())) << text;
  }
}

TEST_P(NSDateOvrinCoreTest, FormattingByStyleAndPatternInTwoLocales) {
  const auto english = OVNLocale::localeWithLocaleIdentifier("en_US");
  const auto german = OVNLocale::localeWithLocaleIdentifier("de_DE");
  const OVNDate friday = at(2026, 11, 27, 21, 5);
  const std::string dayAndTime = std::string(OVNDateFormatDayName) + ", " + std::string(OVNDateFormatMonthName) + " " +
                                 std::string(OVNDateFormatDate) + " " + std::string(OVNDateFormatHour) + ":" +
                                 std::string(OVNDateFormatMinutes) + " " + std::string(OVNDateFormatPeriod);
  EXPECT_EQ(ovn_formattedDateWithFormat(friday, dayAndTime, english), "Fri, Nov 27 9:05 PM");
  EXPECT_EQ(ovn_formattedDateWithFormat(friday, "EEEE, d. MMMM HH:mm", german), "Freitag, 27. November 21:05");
  EXPECT_EQ(ovn_formattedDateWithFormat(friday, OVNDateFormatMinutes), "05");
  const OVNDate utcMorning = ovn_dateWithYear(2026, 11, 27, 21, 5, 0, OVNTimeZone::timeZoneWithName("UTC"));
  EXPECT_EQ(ovn_formattedDateWithFormat(utcMorning, "EEE HH:mm", OVNTimeZone::timeZoneWithName("Asia/Tokyo"), english),
            "Sat 06:05");

  const auto savedLocale = OVNLocale::currentLocale();
  OVNLocale::setCurrentLocale(german);
  EXPECT_EQ(ovn_formattedDateWithFormat(friday, OVNDateFormatDayNameFull), "Freitag");
  EXPECT_EQ(ovn_formattedDateWithStyle(friday, OVNDateFormatterLongStyle), "27. November 2026");
  OVNLocale::setCurrentLocale(english);
  EXPECT_EQ(ovn_formattedDateWithFormat(friday, OVNDateFormatDayNameFull), "Friday");
  OVNLocale::setCurrentLocale(savedLocale);

  // Styles name the date only; the time style stays none.
  const std::vector<std::pair<OVNDateFormatterStyle, const char*>> styles{
      {OVNDateFormatterNoStyle, ""},
      {OVNDateFormatterShortStyle, "11/27/26"},
      {OVNDateFormatterMediumStyle, "Nov 27, 2026"},
      {OVNDateFormatterFullStyle, "Friday, November 27, 2026"}};
  for (const auto& [style, text] : styles) EXPECT_EQ(ovn_formattedDateWithStyle(friday, style, english), text);
  EXPECT_EQ(ovn_formattedDateWithStyle(utcMorning, OVNDateFormatterShortStyle,
                                       OVNTimeZone::timeZoneWithName("Asia/Tokyo"), german),
            "28.11.26");

  for (OVNDate far : {OVNDate::distantPast(), OVNDate::distantFuture(), at(1, 1, 1), at(9999, 12, 31)}) {
    EXPECT_FALSE(ovn_formattedDateWithFormat(far, "yyyy-MM-dd HH:mm", english).empty()) << far.description();
  }
}

TEST_P(NSDateOvrinCoreTest, SharedFormattersNeverMixTheSettingsOfConcurrentCalls) {
  const OVNDate friday = at(2026, 11, 27, 21, 5);
  const std::vector<std::pair<const char*, std::string>> perThread{
      {"en_US", "Friday 21"}, {"de_DE", "Freitag 21"}, {"fr_FR", "vendredi 21"}, {"es_ES", "viernes 21"}};
  std::vector<int> mismatches(perThread.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < perThread.size(); ++i) {
    threads.emplace_back([&, i] {
      const auto locale = OVNLocale::localeWithLocaleIdentifier(perThread[i].first);
      for (int round = 0; round < 300; ++round) {
        if (ovn_formattedDateWithFormat(friday, "EEEE HH", locale) != perThread[i].second) ++mismatches[i];
        if (ovn_dateWithString("27.11.2026", i % 2 ? "dd.MM.yyyy" : "dd/MM/yyyy") !=
            (i % 2 ? at(2026, 11, 27) : std::optional<OVNDate>())) {
          ++mismatches[i];
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(mismatches, std::vector<int>(perThread.size(), 0));
}

}  // namespace
