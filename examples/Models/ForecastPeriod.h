#pragma once
// One period of the short outlook attached to an observation:
// {"timestamp": 1795003600, "tempC": 11.5}.

#include "OVNApiObject.h"
#include "Platform/Values/OVNDate.h"

class ForecastPeriod : public OVNApiObject {
  OVN_CLASS(ForecastPeriod, OVNApiObject)
 public:
  OVNDate validAt;
  double tempC = 0;
};
