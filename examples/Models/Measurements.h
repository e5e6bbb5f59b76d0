#pragma once
// The measurements of one observation, the payload's "ob" object. Precipitation may be
// null in the payload, so it is an optional number.

#include <cstdint>
#include <optional>
#include <string>

#include "OVNApiObject.h"

class Measurements : public OVNApiObject {
  OVN_CLASS(Measurements, OVNApiObject)
 public:
  double tempC = 0;
  double tempF = 0;
  double dewpointC = 0;
  std::int64_t humidity = 0;
  std::int64_t pressureMB = 0;
  std::int64_t windKPH = 0;
  std::string windDir;
  std::string weather;
  std::string weatherCoded;
  std::string icon;
  bool isDay = false;
  double visibilityKM = 0;
  std::int64_t sky = 0;
  std::optional<double> precipMM;
};
