#pragma once
// One observation of the service's observations endpoint, with its place, station
// profile, measurements ("ob") and outlook periods. "loc.lat" / "loc.long" land in
// latitude / longitude; "obTimestamp" (Unix seconds) becomes a date; "obDateTime" (ISO 8601)
// stays text. Keys the tables do not know are collected in `extras`.

#include <memory>
#include <string>
#include <vector>

#include "ForecastPeriod.h"
#include "Measurements.h"
#include "OVNApiObject.h"
#include "Place.h"
#include "Platform/Values/OVNDate.h"
#include "Platform/Values/OVNDictionary.h"
#include "StationProfile.h"

class Observation : public OVNApiObject {
  OVN_CLASS(Observation, OVNApiObject)
 public:
  std::string stationId;
  std::string dataSource;
  double latitude = 0;
  double longitude = 0;
  std::shared_ptr<Place> place;
  std::shared_ptr<StationProfile> profile;
  OVNDate observedAt;
  std::string observedAtISO;
  std::shared_ptr<Measurements> measurements;
  std::vector<std::shared_ptr<ForecastPeriod>> periods;
  OVNDictionaryRef extras;

  //! The station id is the observation's identity in the service.
  OVNValue identifier() const override { return stationId; }
};
