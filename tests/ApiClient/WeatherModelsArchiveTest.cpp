#include <gtest/gtest.h>

#include "Observation.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "PropertyMapper/NSObject+OVNAutoCoding.h"
#include "Support/TemporaryDirectory.h"
#include "WeatherMappings.h"

namespace {

const char* const kObservation = R"({"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
  "place": {"name": "austin", "state": "tx", "country": "us"},
  "profile": {"tz": "America/Chicago", "elevM": 148, "hasPrecip": true},
  "obTimestamp": 1795000000, "obDateTime": "2026-11-18T10:26:40-06:00",
  "ob": {"tempC": 21.1, "humidity": 55, "windDir": "SSE", "isDay": true, "precipMM": null},
  "periods": [{"timestamp": 1795003600, "tempC": 22.0}, {"timestamp": 1795007200, "tempC": 22.8}],
  "qc": {"checked": true}})";

class WeatherModelsArchiveTest : public ::testing::Test {
 protected:
  OVNPropertyMapperRef mapper = makeWeatherMapper();
  // Null when the tables did not register; each test asserts it.
  std::shared_ptr<Observation> original =
      mapper ? mapper->createObjectWithClass<Observation>(OVNJSONSerialization::JSONObjectWithData(kObservation))
             : nullptr;

  // The serialized form covers every mapped value, nested ones included.
  void expectSameContent(const std::shared_ptr<Observation>& restored) {
    ASSERT_TRUE(restored);
    constexpr auto asNull = OVNPropertyMapper::SerializeMissingAsNull;
    EXPECT_TRUE(mapper->serializeObject(restored, asNull).isEqual(mapper->serializeObject(original, asNull)))
        << mapper->serializeObject(restored, asNull).description();
  }
};

TEST_F(WeatherModelsArchiveTest, SecureArchiveRoundTripKeepsEveryValue) {
  ASSERT_TRUE(original);
  std::shared_ptr<OVNError> error;
  auto data = OVNKeyedArchiver::archivedDataWithRootObject(original, true, &error);
  ASSERT_TRUE(data) << (error ? error->localizedDescription() : "");
  auto restored =
      OVNKeyedUnarchiver::unarchivedObjectOfClass(Observation::classObject(), *data, &error).objectAs<Observation>();
  expectSameContent(restored);
  EXPECT_NE(restored->measurements, original->measurements) << "nested objects are restored, not shared";
  EXPECT_EQ(restored->observedAt.timeIntervalSince1970(), 1795000000.0);
  EXPECT_FALSE(restored->measurements->precipMM);
  EXPECT_TRUE(restored->extras->objectForKey("qc").isDictionary());

  // An archive whose root is of another class is refused.
  EXPECT_TRUE(OVNKeyedUnarchiver::unarchivedObjectOfClass(Place::classObject(), *data, &error).isMissing());
  EXPECT_TRUE(error);
}

TEST_F(WeatherModelsArchiveTest, FilesAndCopies) {
  ASSERT_TRUE(original);
  TemporaryDirectory directory("ovrin-weather");
  const std::string path = directory.path() + "/KAUS.archive";
  ASSERT_TRUE(ovn_writeToFile(*original, path, true));
  expectSameContent(ovn_objectWithContentsOfFile(path).objectAs<Observation>());

  auto copy = std::dynamic_pointer_cast<Observation>(original->copy());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->measurements, original->measurements) << "a copy shares its values";
  EXPECT_EQ(copy->stationId, "KAUS");
}

// "obDateTime" gives the instant and the station's offset, and is written back as it came.
TEST_F(WeatherModelsArchiveTest, StationTimesKeepTheirOffset) {
  ASSERT_TRUE(original);
  const OVNDate instant = OVNDate::dateWithTimeIntervalSince1970(1795019200);  // 2026-11-18T16:26:40Z
  EXPECT_EQ(original->observedDateTime, instant);
  EXPECT_EQ(original->observedUTCOffset, -6 * 3600);
  EXPECT_EQ(original->stationTimeZone()->name(), "America/Chicago");
  const std::pair<const char*, std::int64_t> cases[] = {
      {"2026-11-18T21:56:40+05:30", 19800}, {"2026-11-18T12:56:40-03:30", -12600}, {"2026-11-18T16:26:40+00:00", 0}};
  for (const auto& [text, offset] : cases) {
    auto json = OVNJSONSerialization::JSONObjectWithData(kObservation).dictionary()->mutableCopy();
    json->set("obDateTime", text);
    json->set("profile", OVNValue::dictionary({{"tz", "Mars/Olympus_Mons"}}));
    auto observation = mapper->createObjectWithClass<Observation>(OVNValue(json));
    ASSERT_TRUE(observation) << text;
    EXPECT_EQ(observation->observedDateTime, instant) << text;
    EXPECT_EQ(observation->observedUTCOffset, offset) << text;
    EXPECT_EQ(observation->stationTimeZone()->secondsFromGMT(), offset) << "an unknown zone name gives the offset";
    EXPECT_EQ(mapper->serializeObject(observation).dictionary()->objectForKey("obDateTime"), OVNValue(text));
  }
}

}  // namespace
