#include "NearbyStations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "Categories/CLLocation+OvrinCore.h"
#include "Location/CLLocationManager+OvrinCore.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Location/OVNLocationError.h"
#include "Platform/Values/OVNFormat.h"

namespace {
constexpr double kAcceptedAccuracyMetres = 1000;
constexpr double kAcceptedAgeSeconds = 60;
constexpr double kMetresPerKilometre = 1000;
constexpr double kDegreesPerPoint = 22.5;
constexpr std::array<const char*, 16> kCompassPoints{"N", "NNE", "NE", "ENE", "E", "ESE", "SE", "SSE",
                                                     "S", "SSW", "SW", "WSW", "W", "WNW", "NW", "NNW"};
}  // namespace

Position currentPosition(const OVNLocationProviderRef& provider, double timeoutSeconds) {
  auto manager = updateManagerWithAccuracy(kAcceptedAccuracyMetres, kAcceptedAgeSeconds);
  manager->setProvider(provider);
  Position position;
  startUpdatingLocationWithUpdateBlock(*manager, [&](OVNLocationManager&, const OVNLocationRef& location,
                                                     const std::shared_ptr<OVNError>& error, bool* stop) {
    position.location = location;
    position.error = error;
    *stop = true;
  });
  const bool answered =
      OVNRunLoop::main().runUntil([&] { return position.location || position.error; }, timeoutSeconds);
  manager->stopUpdatingLocation();
  if (!answered) {
    position.error = OVNError::errorWithDomain(OVNLocationErrorDomain, OVNLocationErrorLocationUnknown,
                                               OVNFormat("No position came within %.0f s.", timeoutSeconds));
  }
  return position;
}

std::vector<NearbyStation> nearbyStations(OVNLocationCoordinate2D from, const OVNArrayRef& objects) {
  std::vector<NearbyStation> stations;
  for (const auto& member : *objects) {
    auto observation = member.objectAs<Observation>();
    if (!observation) continue;
    const OVNLocationCoordinate2D to{observation->latitude, observation->longitude};
    stations.push_back({observation, ovn_distanceFromCoordinate(from, to) / kMetresPerKilometre,
                        ovn_directionFromCoordinate(from, to)});
  }
  std::stable_sort(stations.begin(), stations.end(),
                   [](const auto& a, const auto& b) { return a.kilometres < b.kilometres; });
  return stations;
}

std::string compassPoint(double bearing) {
  if (!std::isfinite(bearing)) return "?";
  const auto index = static_cast<long>(std::lround(bearing / kDegreesPerPoint)) % 16;
  return kCompassPoints[static_cast<std::size_t>((index + 16) % 16)];
}

std::string nearbyStationLine(const NearbyStation& station) {
  const auto& observation = *station.observation;
  const std::string place = observation.place ? observation.place->name + ", " + observation.place->state : "";
  char line[160];
  std::snprintf(line, sizeof line, "%-8s %-24s %8.1f km  %-3s (%.0f°)", observation.stationId.c_str(), place.c_str(),
                station.kilometres, compassPoint(station.bearing).c_str(), station.bearing);
  return line;
}
