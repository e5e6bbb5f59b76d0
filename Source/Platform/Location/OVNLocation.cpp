#include "Platform/Location/OVNLocation.h"

#include <cmath>
#include <numbers>

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNLocation, altitude, horizontalAccuracy, verticalAccuracy, course, speed, timestamp)

namespace {
constexpr double kMeanEarthRadiusMetres = 6371008.8;
constexpr double kRadiansPerDegree = std::numbers::pi / 180;
}  // namespace

std::shared_ptr<OVNLocation> OVNLocation::initWithLatitude(double latitude, double longitude) {
  Fix fix;
  fix.coordinate = {latitude, longitude};
  fix.timestamp = OVNDate::now();
  return initWithFix(fix);
}

double OVNLocation::distanceFromLocation(const OVNLocation& other) const {
  return distanceBetweenCoordinates(fix_.coordinate, other.fix_.coordinate);
}

double OVNLocation::distanceBetweenCoordinates(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to) {
  const double phi1 = from.latitude * kRadiansPerDegree;
  const double phi2 = to.latitude * kRadiansPerDegree;
  const double dPhi = phi2 - phi1;
  const double dLambda = (to.longitude - from.longitude) * kRadiansPerDegree;
  const double a =
      std::pow(std::sin(dPhi / 2), 2) + std::cos(phi1) * std::cos(phi2) * std::pow(std::sin(dLambda / 2), 2);
  return 2 * kMeanEarthRadiusMetres * std::atan2(std::sqrt(a), std::sqrt(1 - a));
}

std::string OVNLocation::description() const {
  return OVNFormat("<%+.6f,%+.6f> +/- %.2fm (speed %.2f mps / course %.2f) @ %@", fix_.coordinate.latitude,
                   fix_.coordinate.longitude, fix_.horizontalAccuracy, fix_.speed, fix_.course,
                   fix_.timestamp.description());
}
