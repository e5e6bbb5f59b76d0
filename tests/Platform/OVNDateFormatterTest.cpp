#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Platform/Objects/OVNException.h"
#include "Platform/Time/OVNDateFormatter.h"

namespace {

constexpr const char* httpPattern = "EEE, dd MMM yyyy HH:mm:ss zzz";
const OVNDate httpExampleDate = OVNDate::dateWithTimeIntervalSince1970(784111777);  // 1994-11-06 08:49:37 UTC
const OVNDate winterDate = OVNDate::dateWithTimeIntervalSince1970(1705329045);      // 2024-01-15 14:30:45 UTC
const OVNDate summerDate = OVNDate::dateWithTimeIntervalSince1970(1721050245);      // 2024-07-15 13:30:45 UTC

std::shared_ptr<OVNDateFormatter> formatter(const char* pattern, const char* locale, const char* zone) {
  auto f = OVNMake<OVNDateFormatter>();
  f->setDateFormat(pattern);
  if (locale) f->setLocale(OVNLocale::localeWithLocaleIdentifier(locale));
  if (zone) f->setTimeZone(OVNTimeZone::timeZoneWithName(zone));
  return f;
}

class OVNDateFormatterTest : public ::testing::Test {
 protected:
  void TearDown() override {
    OVNLocale::setCurrentLocale(nullptr);
    OVNTimeZone::setDefaultTimeZone(nullptr);
  }
};

TEST_F(OVNDateFormatterTest, PatternsRoundTripInEveryLocaleAndZone) {
  const char* patterns[] = {"yyyy-MM-dd'T'HH:mm:ssZZZZZ", "EEEE d MMMM yyyy HH:mm:ss zzzz", "dd.MM.yy HH:mm:ss",
                            httpPattern, "yyyyy.MMMM.dd GGG hh:mm:ss a"};
  for (const char* pattern : patterns) {
    for (const char* locale : {"en_US_POSIX", "de_DE", "fr_FR"}) {
      for (const char* zone : {"UTC", "Europe/Berlin", "America/New_York"}) {
        auto f = formatter(pattern, locale, zone);
        for (OVNDate date : {winterDate, summerDate, httpExampleDate}) {
          const std::string text = f->stringFromDate(date);
          EXPECT_EQ(f->dateFromString(text), date) << pattern << " " << locale << " " << zone << ": " << text;
        }
      }
    }
  }
}

TEST_F(OVNDateFormatterTest, HTTPDatesParseInEnglishOnly) {
  auto f = formatter(httpPattern, nullptr, nullptr);
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("en_US"));
  OVNTimeZone::setDefaultTimeZone(OVNTimeZone::timeZoneWithName("Asia/Tokyo"));  // the text names its zone
  EXPECT_EQ(f->dateFromString("Sun, 06 Nov 1994 08:49:37 GMT"), httpExampleDate);
  EXPECT_EQ(f->dateFromString("Sun, 06 Nov 1994 08:49:37 UTC"), httpExampleDate);
  EXPECT_EQ(f->dateFromString("Sun, 06 Nov 1994 09:49:37 GMT+01:00"), httpExampleDate);

  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("de_DE"));  // "So., 06 Nov." in German
  EXPECT_EQ(f->dateFromString("Sun, 06 Nov 1994 08:49:37 GMT"), std::nullopt);
}

TEST_F(OVNDateFormatterTest, TwoDigitYearsAndLeniency) {
  auto f = formatter("dd.MM.yy", "de_DE", "UTC");
  EXPECT_EQ(f->dateFromString("06.11.94"), OVNDate::dateWithTimeIntervalSince1970(784080000));
  EXPECT_EQ(f->dateFromString("01.01.30"), OVNDate::dateWithTimeIntervalSince1970(1893456000));
  EXPECT_EQ(f->dateFromString("32.01.30"), std::nullopt);
  f->setLenient(true);
  EXPECT_EQ(f->dateFromString("32.01.30"), OVNDate::dateWithTimeIntervalSince1970(1893456000 + 31 * 86400));
}

TEST_F(OVNDateFormatterTest, StylesInAmericanEnglish) {
  struct Case {
    OVNDateFormatterStyle date, time;
    const char* text;
  };
  const Case cases[] = {{OVNDateFormatterShortStyle, OVNDateFormatterNoStyle, "1/15/24"},
                        {OVNDateFormatterMediumStyle, OVNDateFormatterNoStyle, "Jan 15, 2024"},
                        {OVNDateFormatterLongStyle, OVNDateFormatterNoStyle, "January 15, 2024"},
                        {OVNDateFormatterFullStyle, OVNDateFormatterNoStyle, "Monday, January 15, 2024"},
                        {OVNDateFormatterNoStyle, OVNDateFormatterShortStyle, "2:30\u202fPM"},
                        {OVNDateFormatterShortStyle, OVNDateFormatterMediumStyle, "1/15/24, 2:30:45\u202fPM"},
                        {OVNDateFormatterNoStyle, OVNDateFormatterNoStyle, ""}};
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("en_US"));
  OVNTimeZone::setDefaultTimeZone(OVNTimeZone::timeZoneWithName("UTC"));
  for (const auto& c : cases) {
    auto f = OVNMake<OVNDateFormatter>();
    f->setDateStyle(c.date);
    f->setTimeStyle(c.time);
    EXPECT_EQ(f->stringFromDate(winterDate), c.text);
    EXPECT_EQ(OVNDateFormatter::localizedStringFromDate(winterDate, c.date, c.time), c.text);
  }
  EXPECT_THROW(OVNMake<OVNDateFormatter>()->setDateStyle(OVNDateFormatterFullStyle + 1), OVNException);
}

TEST_F(OVNDateFormatterTest, TheLastOfPatternAndStylesDecides) {
  auto f = formatter("yyyy", "en_US", "UTC");
  EXPECT_EQ(f->stringFromDate(winterDate), "2024");
  f->setDateStyle(OVNDateFormatterShortStyle);
  EXPECT_EQ(f->dateFormat(), "M/d/yy");
  EXPECT_EQ(f->stringFromDate(winterDate), "1/15/24");
  f->setDateFormat("MM");
  EXPECT_EQ(f->stringFromDate(winterDate), "01");
  EXPECT_EQ(f->dateStyle(), OVNDateFormatterShortStyle);
  f->setDateFormat("");
  EXPECT_EQ(f->stringFromDate(winterDate), "1/15/24");
  f->setLocale(OVNLocale::localeWithLocaleIdentifier("de_DE"));
  EXPECT_EQ(f->dateFormat(), "dd.MM.yy");
  // New patterns and zones reach a formatter already made.
  f->setDateFormat("HH:mm");
  EXPECT_EQ(f->stringFromDate(winterDate), "14:30");
  f->setTimeZone(OVNTimeZone::timeZoneWithName("Asia/Kolkata"));
  EXPECT_EQ(f->stringFromDate(winterDate), "20:00");
  f->setTimeZone(OVNTimeZone::timeZoneForSecondsFromGMT(-3600));
  EXPECT_EQ(f->dateFromString("13:30"), OVNDate::dateWithTimeIntervalSince1970(14.5 * 3600));
  f->setTimeStyle(OVNDateFormatterShortStyle);
  EXPECT_EQ(f->stringFromDate(winterDate), "15.01.24, 13:30");
}

TEST_F(OVNDateFormatterTest, TemplatesGiveTheLocalesPattern) {
  const std::tuple<const char*, const char*, std::optional<std::string>> cases[] = {
      {"yMMMd", "en_US", "MMM d, y"}, {"yMMMd", "de_DE", "d. MMM y"}, {"Hm", "fr_FR", "HH:mm"}, {"", "en_US", {}}};
  for (const auto& [templateText, locale, pattern] : cases) {
    EXPECT_EQ(OVNDateFormatter::dateFormatFromTemplate(templateText, OVNLocale::localeWithLocaleIdentifier(locale)),
              pattern);
  }
}

TEST_F(OVNDateFormatterTest, BadTextsAndFarDatesFailQuietly) {
  auto f = formatter(httpPattern, "en_US_POSIX", "UTC");
  const std::string bad[] = {"", "garbage", "Sun, 06 Nov 1994 08:49:37 GMT trailing", "Sun, 06 Nov 1994 \xff\xfe",
                             "Sun, 06 Nov 1994 08:49:37 GMT" + std::string(1 << 20, ' ')};
  for (const auto& text : bad) EXPECT_EQ(f->dateFromString(text), std::nullopt) << text.substr(0, 40);

  auto broken = formatter("yyyy ppp", "en_US_POSIX", "UTC");  // "p" is no pattern letter
  EXPECT_EQ(broken->stringFromDate(winterDate), "");
  EXPECT_EQ(broken->dateFromString("2024 ppp"), std::nullopt);

  auto iso = formatter("yyyy-MM-dd HH:mm:ss", "en_US_POSIX", "UTC");
  const std::pair<OVNDate, const char*> far[] = {{OVNDate::distantPast(), "0001-01-01 00:00:00"},
                                                 {OVNDate::distantFuture(), "4001-01-01 00:00:00"}};
  for (const auto& [date, text] : far) {
    EXPECT_EQ(iso->stringFromDate(date), text);
    EXPECT_EQ(iso->dateFromString(text), date);
  }
  EXPECT_EQ(iso->stringFromDate(iso->dateFromString("9999-12-31 23:59:59").value()), "9999-12-31 23:59:59");
  EXPECT_FALSE(iso->stringFromDate(OVNDate(1e300)).empty());
}

TEST_F(OVNDateFormatterTest, OneFormatterServesManyThreads) {
  auto f = formatter("yyyy-MM-dd'T'HH:mm:ss.SSSZZZZZ", "en_US_POSIX", "Europe/Berlin");
  std::atomic<int> mismatches{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        const OVNDate date = winterDate.dateByAddingTimeInterval(t * 1e6 + i * 3600.5);
        if (f->dateFromString(f->stringFromDate(date)) != date) ++mismatches;
        if (t == 0 && i % 20 == 0) f->setTimeZone(OVNTimeZone::timeZoneWithName(i % 40 ? "Asia/Tokyo" : "UTC"));
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
