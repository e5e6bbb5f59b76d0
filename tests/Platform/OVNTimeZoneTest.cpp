#include <gtest/gtest.h>
#include <stdlib.h>

#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Time/OVNTimeZone.h"

namespace {

OVNDate utc(double secondsSince1970) { return OVNDate::dateWithTimeIntervalSince1970(secondsSince1970); }

constexpr double berlinSpringForward2024 = 1711846800;   // 2024-03-31 01:00 UTC
constexpr double newYorkSpringForward2024 = 1710054000;  // 2024-03-10 07:00 UTC
constexpr double hour = 3600;

TEST(OVNTimeZone, UnknownNamesAndOffsetsGiveNull) {
  for (const char* name : {"", "Nowhere/Atlantis", "Etc/Unknown", "\xff\xfe", "EST5EDT,M3.2.0,M11.1.0"}) {
    EXPECT_EQ(OVNTimeZone::timeZoneWithName(name), nullptr) << name;
  }
  for (const char* abbreviation : {"", "XYZ", "est", "Europe/Berlin"}) {
    EXPECT_EQ(OVNTimeZone::timeZoneWithAbbreviation(abbreviation), nullptr) << abbreviation;
  }
  const std::int64_t limit = OVNTimeZone::maximumSecondsFromGMT;
  EXPECT_EQ(OVNTimeZone::timeZoneForSecondsFromGMT(limit + 1), nullptr);
  EXPECT_EQ(OVNTimeZone::timeZoneForSecondsFromGMT(-limit - 1), nullptr);
  EXPECT_NE(OVNTimeZone::timeZoneForSecondsFromGMT(-limit), nullptr);
}

TEST(OVNTimeZone, AbbreviationsNameTheirZones) {
  const std::pair<const char*, const char*> cases[] = {
      {"GMT", "GMT"},           {"UTC", "UTC"},          {"EST", "America/New_York"}, {"PDT", "America/Los_Angeles"},
      {"CEST", "Europe/Paris"}, {"BST", "Europe/London"}};
  for (const auto& [abbreviation, name] : cases) {
    auto zone = OVNTimeZone::timeZoneWithAbbreviation(abbreviation);
    ASSERT_NE(zone, nullptr) << abbreviation;
    EXPECT_EQ(zone->name(), name);
  }
}

TEST(OVNTimeZone, FixedOffsetsAreNamedAfterThem) {
  const std::pair<std::int64_t, const char*> cases[] = {
      {3600, "GMT+0100"}, {-19800, "GMT-0530"}, {0, "GMT"}, {45 * 60 + 12 * 3600, "GMT+1245"}};
  for (const auto& [seconds, name] : cases) {
    auto zone = OVNTimeZone::timeZoneForSecondsFromGMT(seconds);
    ASSERT_NE(zone, nullptr) << name;
    EXPECT_EQ(zone->name(), name);
    EXPECT_EQ(zone->secondsFromGMTForDate(utc(berlinSpringForward2024)), seconds);
    EXPECT_FALSE(zone->isDaylightSavingTimeForDate(utc(berlinSpringForward2024)));
    EXPECT_EQ(zone->nextDaylightSavingTimeTransitionAfterDate(OVNDate()), std::nullopt);
  }
  EXPECT_EQ(OVNTimeZone::timeZoneForSecondsFromGMT(-19800)->abbreviationForDate(OVNDate()), "GMT-5:30");
}

TEST(OVNTimeZone, DaylightSavingTimeOnBothSidesOfATransition) {
  struct Case {
    const char* zone;
    double transition;
    std::int64_t standardOffset;
    const char* standard;
    const char* daylight;
  };
  const Case cases[] = {{"Europe/Berlin", berlinSpringForward2024, 3600, "CET", "CEST"},
                        {"America/New_York", newYorkSpringForward2024, -5 * 3600, "EST", "EDT"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.zone);
    auto zone = OVNTimeZone::timeZoneWithName(c.zone);
    ASSERT_NE(zone, nullptr);
    const OVNDate before = utc(c.transition - hour);
    const OVNDate after = utc(c.transition + hour);
    EXPECT_EQ(zone->secondsFromGMTForDate(before), c.standardOffset);
    EXPECT_EQ(zone->secondsFromGMTForDate(after), c.standardOffset + 3600);
    EXPECT_EQ(zone->abbreviationForDate(before), c.standard);
    EXPECT_EQ(zone->abbreviationForDate(after), c.daylight);
    EXPECT_FALSE(zone->isDaylightSavingTimeForDate(before));
    EXPECT_TRUE(zone->isDaylightSavingTimeForDate(after));
    EXPECT_EQ(zone->daylightSavingTimeOffsetForDate(before), 0.0);
    EXPECT_EQ(zone->daylightSavingTimeOffsetForDate(after), hour);
    EXPECT_EQ(zone->nextDaylightSavingTimeTransitionAfterDate(before), utc(c.transition));
  }
}

TEST(OVNTimeZone, DescriptionEqualityAndFarDates) {
  OVNTestClock clock(utc(berlinSpringForward2024 - hour).timeIntervalSinceReferenceDate());
  auto berlin = OVNTimeZone::timeZoneWithName("Europe/Berlin");
  EXPECT_EQ(berlin->description(), "Europe/Berlin (CET) offset 3600");
  clock.advance(2 * hour);
  EXPECT_EQ(berlin->description(), "Europe/Berlin (CEST) offset 7200 (Daylight)");
  EXPECT_EQ(berlin->secondsFromGMT(), 7200);

  auto again = OVNTimeZone::timeZoneWithName("Europe/Berlin");
  EXPECT_TRUE(berlin->isEqual(*again));
  EXPECT_EQ(berlin->hash(), again->hash());
  EXPECT_FALSE(berlin->isEqual(*OVNTimeZone::timeZoneWithName("America/New_York")));
  for (OVNDate far : {OVNDate::distantPast(), OVNDate::distantFuture(), OVNDate(1e300)}) {
    EXPECT_FALSE(berlin->abbreviationForDate(far).empty());
    berlin->nextDaylightSavingTimeTransitionAfterDate(far);  // must simply return
  }
}

class OVNTimeZoneEnvironmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* value = std::getenv("TZ");
    if (value) savedTZ = value;
  }
  void TearDown() override {
    if (savedTZ)
      ::setenv("TZ", savedTZ->c_str(), 1);
    else
      ::unsetenv("TZ");
    OVNTimeZone::resetSystemTimeZone();
    OVNTimeZone::setDefaultTimeZone(nullptr);
  }
  static std::string systemZoneWithTZ(const char* tz) {
    if (tz)
      ::setenv("TZ", tz, 1);
    else
      ::unsetenv("TZ");
    OVNTimeZone::resetSystemTimeZone();
    return OVNTimeZone::systemTimeZone()->name();
  }
  std::optional<std::string> savedTZ;
};

TEST_F(OVNTimeZoneEnvironmentTest, SystemZoneComesFromTZ) {
  const std::string withoutTZ = systemZoneWithTZ(nullptr);
  const std::pair<const char*, std::string> cases[] = {
      {":Europe/Berlin", "Europe/Berlin"},
      {"America/New_York", "America/New_York"},
      {"/usr/share/zoneinfo/Asia/Tokyo", "Asia/Tokyo"},
      {":/usr/share/zoneinfo/posix/Europe/Paris", "Europe/Paris"},
      {"", "UTC"},
      {"EST5EDT,M3.2.0,M11.1.0", withoutTZ},  // a rule ICU cannot read: the files decide
      {"/nowhere/Berlin", withoutTZ}};
  for (const auto& [tz, name] : cases) EXPECT_EQ(systemZoneWithTZ(tz), name) << tz;

  systemZoneWithTZ("Europe/Berlin");
  ::setenv("TZ", "Asia/Tokyo", 1);
  EXPECT_EQ(OVNTimeZone::systemTimeZone()->name(), "Europe/Berlin") << "kept until reset";
}

TEST_F(OVNTimeZoneEnvironmentTest, DefaultZoneFollowsTheSystemUnlessSet) {
  systemZoneWithTZ("Europe/Berlin");
  EXPECT_EQ(OVNTimeZone::defaultTimeZone()->name(), "Europe/Berlin");
  OVNTimeZone::setDefaultTimeZone(OVNTimeZone::timeZoneWithName("Asia/Tokyo"));
  EXPECT_EQ(OVNTimeZone::defaultTimeZone()->name(), "Asia/Tokyo");
  OVNTimeZone::setDefaultTimeZone(nullptr);
  EXPECT_EQ(OVNTimeZone::defaultTimeZone()->name(), "Europe/Berlin");
}

}  // namespace
