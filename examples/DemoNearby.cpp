#include "DemoNearby.h"

#include <cstdio>
#include <string>
#include <vector>

#include "DemoClient.h"
#include "LocalWeatherService.h"
#include "NearbyStations.h"
#include "Platform/Location/OVNGpsdLocationProvider.h"
#include "Platform/Location/OVNSimulatedLocationProvider.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

constexpr double positionTimeoutSeconds = 15.0;
constexpr int stationCount = 5;

// A few steps down Broadway in Manhattan, a fifth of a second apart.
OVNLocationProviderRef simulatedWalk() {
  std::vector<OVNSimulatedLocationProvider::Step> walk;
  for (const OVNLocationCoordinate2D& point : {OVNLocationCoordinate2D{40.7580, -73.9855}, {40.7570, -73.9862}}) {
    OVNSimulatedLocationProvider::Step step;
    step.delay = 0.2;
    step.fix.coordinate = point;
    step.fix.horizontalAccuracy = 8;
    step.fix.course = 200;
    walk.push_back(step);
  }
  return std::make_shared<OVNSimulatedLocationProvider>(std::move(walk));
}

}  // namespace

bool demonstrateNearby(bool useGpsd) {
  OVNLocationProviderRef provider = useGpsd ? std::make_shared<OVNGpsdLocationProvider>() : simulatedWalk();
  std::printf("  asking %s for a position\n", useGpsd ? "gpsd on localhost" : "the simulated provider (a walk)");
  const Position position = currentPosition(provider, positionTimeoutSeconds);
  if (!position.location) {
    std::printf("  no position: %s\n", position.error->localizedDescription().c_str());
    return false;
  }
  const OVNLocationCoordinate2D here = position.location->coordinate();
  std::printf("  position %.4f, %.4f, within %.0f m\n", here.latitude, here.longitude,
              position.location->horizontalAccuracy());

  LocalWeatherService service;
  service.start();
  connectDemoClient(service);
  auto observations = OVNApiEndpoint::initWithPath<DemoEndpoint>("observations", Observation::classObject());
  const std::string point = std::to_string(here.latitude) + "," + std::to_string(here.longitude);
  auto result =
      fetchObjects(observations, OVNDictionary::make({{"action", "closest"}, {"p", point}, {"limit", stationCount}}));
  service.stop();
  if (!result || !result->value()) {
    std::printf("  no stations: %s\n", result && result->error() ? result->error()->description().c_str() : "no reply");
    return false;
  }
  std::printf("  the nearest stations of the local weather service:\n");
  for (const auto& station : nearbyStations(here, result->value())) {
    std::printf("    %s\n", nearbyStationLine(station).c_str());
  }
  return true;
}
