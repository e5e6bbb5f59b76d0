#include <cmath>

#include "Categories/NSNumber+OvrinCore.h"

OVNNumber ovn_roundToNearestInterval(const OVNNumber& receiver, double interval) {
  const auto value = static_cast<float>(receiver.doubleValue());
  const float steps = std::floor(static_cast<float>((value + interval / 2.0) / interval));
  return OVNNumber::floating(static_cast<float>(steps * interval));
}
