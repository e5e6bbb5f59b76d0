#include <cmath>
#include <numbers>

#include "Categories/CLLocation+OvrinCore.h"
#include "Platform/Values/OVNFormat.h"

namespace {

constexpr double kPi = std::numbers::pi;

double haversineDistance(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to) {
  const double dLat = OVNDegreesToRadians(to.latitude - from.latitude);
  const double dLon = OVNDegreesToRadians(to.longitude - from.longitude);
  const double phi1 = OVNDegreesToRadians(from.latitude);
  const double phi2 = OVNDegreesToRadians(to.latitude);
  double a = std::pow(std::sin(dLat / 2), 2) + std::cos(phi1) * std::cos(phi2) * std::pow(std::sin(dLon / 2), 2);
  // Exactly it is within [0, 1]; rounding near antipodes can leave it a step outside, where
  // a square root below would turn a real distance into NaN. NaN passes both tests.
  if (a > 1) {
    a = 1;
  } else if (a < 0) {
    a = 0;
  }
  const double c = 2 * std::atan2(std::sqrt(a), std::sqrt(1 - a));
  return c * OVNEarthRadius * 1000;
}

}  // namespace

std::string OVNStringFromCLLocationCoordinate2D(OVNLocationCoordinate2D coordinate) {
  return OVNFormat("(%f, %f)", coordinate.latitude, coordinate.longitude);
}

double ovn_distanceFromCoordinate(const OVNLocation& location, OVNLocationCoordinate2D coordinate) {
  return haversineDistance(location.coordinate(), coordinate);
}

double ovn_distanceFromCoordinate(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to) {
  // What a location made at `from` would answer; the location itself adds nothing.
  return haversineDistance(from, to);
}

double ovn_directionToLocation(const OVNLocation& location, const OVNLocation& other) {
  return ovn_directionFromCoordinate(location.coordinate(), other.coordinate());
}

double ovn_directionFromCoordinate(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to) {
  const double lat1 = OVNDegreesToRadians(from.latitude);
  const double lon1 = OVNDegreesToRadians(from.longitude);
  const double lat2 = OVNDegreesToRadians(to.latitude);
  const double lon2 = OVNDegreesToRadians(to.longitude);
  const double dLon = lon2 - lon1;
  const double y = std::sin(dLon) * std::cos(lat2);
  const double x = std::cos(lat1) * std::sin(lat2) - std::sin(lat1) * std::cos(lat2) * std::cos(dLon);
  const double bearing = OVNRadiansToDegrees(std::atan2(y, x));
  // The parts of b + 360 are split in floating point (no integer conversion, so NaN is safe)
  // and add back to exactly b + 360; hence a bearing of 0 or less reads b + 360 (north: 360).
  double whole = 0;
  const double fraction = std::modf(bearing + 360, &whole);
  double result = whole + fraction;
  if (result > 360) {
    result -= 360;
  } else if (result < 0) {
    result += 360;
  }
  return result;
}

OVNCoordinateRect ovn_boundingBoxContainingLocations(const std::vector<OVNLocationRef>& locations) {
  const OVNLocation* first = nullptr;
  for (const auto& location : locations) {
    if (location) {
      first = location.get();
      break;
    }
  }
  if (!first) return OVNCoordinateRectZero;
  double maxLat = first->coordinate().latitude;
  double minLat = maxLat;
  double minLon = first->coordinate().longitude;
  double maxLon = minLon;
  for (const auto& location : locations) {
    if (!location) continue;
    const OVNLocationCoordinate2D c = location->coordinate();
    if (c.latitude > maxLat) maxLat = c.latitude;
    if (c.latitude < minLat) minLat = c.latitude;
    if (c.longitude < minLon) minLon = c.longitude;
    if (c.longitude > maxLon) maxLon = c.longitude;
  }
  return {{maxLat, minLon}, {minLat, maxLon}};
}

OVNCoordinateRect ovn_boundingBoxWithCenter(OVNLocationCoordinate2D center, double radius) {
  const double r = radius / (OVNEarthRadius * 1000);  // angular radius
  const double latR = OVNDegreesToRadians(center.latitude);
  const double lonR = OVNDegreesToRadians(center.longitude);
  double minLat = latR - r;
  double maxLat = latR + r;
  double minLon = 0;
  double maxLon = 0;
  if (minLat > -kPi / 2 && maxLat < kPi / 2) {
    const double dLon = std::asin(std::sin(r) / std::cos(latR));
    minLon = lonR - dLon;
    if (minLon < -kPi) minLon += 2 * kPi;
    maxLon = lonR + dLon;
    if (maxLon > kPi) maxLon -= 2 * kPi;
  } else {
    // A pole lies within the circle: every longitude, latitudes up to the pole. fmax and
    // fmin take the pole for a NaN limit.
    minLat = std::fmax(minLat, -kPi / 2);
    maxLat = std::fmin(maxLat, kPi / 2);
    minLon = -kPi;
    maxLon = kPi;
  }
  // Kept: the radian values go through the degree conversion once more (see the header).
  return {{OVNDegreesToRadians(maxLat), OVNDegreesToRadians(minLon)},
          {OVNDegreesToRadians(minLat), OVNDegreesToRadians(maxLon)}};
}
