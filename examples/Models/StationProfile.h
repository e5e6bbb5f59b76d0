#pragma once
// The observing station: {"tz": "America/Chicago", "elevM": 150, "hasPrecip": true}.

#include <cstdint>
#include <string>

#include "OVNApiObject.h"

class StationProfile : public OVNApiObject {
  OVN_CLASS(StationProfile, OVNApiObject)
 public:
  std::string timezone;
  std::int64_t elevationM = 0;
  bool hasPrecip = false;
};
