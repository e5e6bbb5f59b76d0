// GPX tracks replayed by the simulated provider, and the documents it refuses.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Location/OVNLocationError.h"
#include "Platform/Location/OVNSimulatedLocationProvider.h"

namespace {

constexpr const char* kTrack = R"(<?xml version="1.0" encoding="UTF-8"?>
<gpx version="1.1" creator="test" xmlns="http://www.topografix.com/GPX/1/1">
  <trk><name>to the river</name><trkseg>
    <trkpt lat="30.2672" lon="-97.7431"><ele>149.5</ele><time>2026-11-25T10:00:00Z</time></trkpt>
    <trkpt lat="30.2650" lon="-97.7460"><time>2026-11-25T10:00:05.500Z</time><extensions><ele>1</ele></extensions></trkpt>
  </trkseg></trk>
  <rte><rtept lat="-33.8688" lon="151.2093"/></rte>
</gpx>)";

struct Reports {
  std::vector<OVNLocationRef> locations;
  std::vector<std::shared_ptr<OVNError>> failures;

  OVNLocationProvider::Callbacks callbacks() {
    return {[this](const OVNLocationRef& location) { locations.push_back(location); },
            {},
            [this](const std::shared_ptr<OVNError>& error) { failures.push_back(error); }};
  }
};

TEST(OVNSimulatedLocationProviderTest, GPXPointsReplayAtTheirOwnPace) {
  OVNTestClock clock(800000000);
  auto provider = OVNSimulatedLocationProvider::withGPXData(kTrack);
  ASSERT_FALSE(provider->loadError());
  Reports reports;
  provider->start(reports.callbacks());
  clock.advance(1);
  ASSERT_EQ(reports.locations.size(), 1U);
  EXPECT_EQ(reports.locations[0]->altitude(), 149.5);
  clock.advance(5.49);
  EXPECT_EQ(reports.locations.size(), 1U) << "the points' times are 5.5 s apart";
  clock.advance(0.01);
  ASSERT_EQ(reports.locations.size(), 2U);
  EXPECT_EQ(reports.locations[1]->altitude(), 0) << "only the point's own <ele> counts";
  EXPECT_EQ(reports.locations[1]->timestamp(), OVNDate::now()) << "stamped when replayed";
  clock.advance(1);
  ASSERT_EQ(reports.locations.size(), 3U);
  EXPECT_EQ(reports.locations[2]->coordinate(), (OVNLocationCoordinate2D{-33.8688, 151.2093}));
  provider->stop();
  provider->start(reports.callbacks());  // from the first point again
  clock.advance(1);
  EXPECT_EQ(reports.locations.size(), 4U);
  EXPECT_TRUE(reports.failures.empty());
}

TEST(OVNSimulatedLocationProviderTest, BadTracksReportOneFailureAndNothingElse) {
  OVNTestClock clock(800000000);
  const std::pair<std::string, const char*> cases[] = {
      {"<gpx><trk><trkseg><trkpt lat=\"30\" lon=\"-97\"></trkseg></trk></gpx>", "not well-formed"},
      {"<gpx>\n<wpt lat=\"95\" lon=\"10\"/></gpx>", "line 2 has no valid lat and lon"},
      {"<gpx><wpt lat=\"north\" lon=\"10\"/></gpx>", "no valid lat and lon"},
      {"<gpx><trk><name>empty</name></trk></gpx>", "no track, route or way points"},
      {"", "not well-formed"},
      {std::string("<gpx>\xff</gpx>"), "not well-formed"}};
  for (const auto& [document, reason] : cases) {
    auto provider = OVNSimulatedLocationProvider::withGPXData(document);
    ASSERT_TRUE(provider->loadError()) << document;
    Reports reports;
    provider->start(reports.callbacks());
    clock.advance(10);
    ASSERT_EQ(reports.failures.size(), 1U) << document;
    EXPECT_EQ(reports.failures[0]->domain(), OVNLocationErrorDomain);
    EXPECT_NE(reports.failures[0]->localizedDescription().find(reason), std::string::npos)
        << reports.failures[0]->localizedDescription();
    EXPECT_TRUE(reports.locations.empty());
  }
  auto missing = OVNSimulatedLocationProvider::withGPXFile("/nonexistent/track.gpx");
  ASSERT_TRUE(missing->loadError());
  EXPECT_NE(missing->loadError()->localizedDescription().find("/nonexistent/track.gpx"), std::string::npos);
}

}  // namespace
