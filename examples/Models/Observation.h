#pragma once
// One observation of the service's observations endpoint, with its place, station
// profile, measurements ("ob") and outlook periods. "loc.lat" / "loc.long" land in
// latitude / longitude; "obTimestamp" (Unix seconds) becomes a date; "obDateTime" (ISO 8601
// with the station's offset, "2026-11-18T10:26:40-06:00") becomes a date and that offset, so
// the time can be shown as the station's clock showed it. Keys the tables do not know are
// collected in `extras`.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ForecastPeriod.h"
#include "Measurements.h"
#include "OVNApiObject.h"
#include "Place.h"
#include "Platform/Time/OVNTimeZone.h"
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
  OVNDate observedDateTime;
  std::int64_t observedUTCOffset = 0;  //!< seconds east of GMT at the station, from "obDateTime"
  std::shared_ptr<Measurements> measurements;
  std::vector<std::shared_ptr<ForecastPeriod>> periods;
  OVNDictionaryRef extras;

  //! A zone with the station's offset at observation time (GMT when "obDateTime" had none).
  std::shared_ptr<OVNTimeZone> observedTimeZone() const;
  //! The station's own zone (the profile's "tz", with its names and daylight saving time)
  //! when the platform knows it, else observedTimeZone().
  std::shared_ptr<OVNTimeZone> stationTimeZone() const;

  //! The station id is the observation's identity in the service.
  OVNValue identifier() const override { return stationId; }
};
