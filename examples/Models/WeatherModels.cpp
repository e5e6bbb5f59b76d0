// The property lists of the worked model classes (one place, so each class registers once).

#include "ForecastPeriod.h"
#include "Measurements.h"
#include "Observation.h"
#include "Place.h"
#include "Platform/Objects/OVNProperties.h"
#include "StationProfile.h"

OVN_PROPERTIES(Place, name, state, country)
OVN_PROPERTIES(StationProfile, timezone, elevationM, hasPrecip)
OVN_PROPERTIES(Measurements, tempC, tempF, dewpointC, humidity, pressureMB, windKPH, windDir, weather, weatherCoded,
               icon, isDay, visibilityKM, sky, precipMM)
OVN_PROPERTIES(ForecastPeriod, validAt, tempC)
OVN_PROPERTIES(Observation, stationId, dataSource, latitude, longitude, place, profile, observedAt, observedDateTime,
               observedUTCOffset, measurements, periods, extras)

std::shared_ptr<OVNTimeZone> Observation::observedTimeZone() const {
  auto zone = OVNTimeZone::timeZoneForSecondsFromGMT(observedUTCOffset);
  return zone ? zone : OVNTimeZone::timeZoneForSecondsFromGMT(0);
}

std::shared_ptr<OVNTimeZone> Observation::stationTimeZone() const {
  auto zone = profile ? OVNTimeZone::timeZoneWithName(profile->timezone) : nullptr;
  return zone ? zone : observedTimeZone();
}
