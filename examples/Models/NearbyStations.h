#pragma once
// What the demonstration and `ovrin nearby` share: a position from a location provider
// (through a location manager and the callback adapter), and observations ordered by their
// distance from it, with bearings as compass points.
// Threads: the main thread, which these run the main run loop on.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Observation.h"
#include "Platform/Location/OVNLocationProvider.h"
#include "Platform/Values/OVNArray.h"

struct Position {
  OVNLocationRef location;          // null when none came
  std::shared_ptr<OVNError> error;  // why, then
};

//! The first fix the provider gives within `timeoutSeconds` of running the main run loop that
//! is at most a kilometre uncertain and a minute old, or the provider's failure (or a time-out
//! error) without one.
Position currentPosition(const OVNLocationProviderRef& provider, double timeoutSeconds);

struct NearbyStation {
  std::shared_ptr<Observation> observation;
  double kilometres = 0;
  double bearing = 0;  // degrees, (0, 360], due north 360
};

//! The observations of `objects` ordered by great-circle distance from `from`, nearest first.
std::vector<NearbyStation> nearbyStations(OVNLocationCoordinate2D from, const OVNArrayRef& objects);
//! The 16-point compass abbreviation of a bearing in degrees ("N", "NNE", ... "NNW").
std::string compassPoint(double bearing);
//! "KJFK     new york, ny            12.3 km  NNE  (22°)".
std::string nearbyStationLine(const NearbyStation& station);
