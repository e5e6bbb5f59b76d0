#pragma once
// A geographic coordinate (CLLocationCoordinate2D): latitude, then longitude, in degrees
// (WGS 84). A plain value; any thread.

#include <cmath>

#include "OvrinCoreExport.h"

struct OVNLocationCoordinate2D {
  double latitude = 0;
  double longitude = 0;

  friend bool operator==(const OVNLocationCoordinate2D&, const OVNLocationCoordinate2D&) = default;
};

inline constexpr OVNLocationCoordinate2D OVNLocationCoordinate2DMake(double latitude, double longitude) {
  return {latitude, longitude};
}

//! The coordinate the location service uses for "none".
inline constexpr OVNLocationCoordinate2D kOVNLocationCoordinate2DInvalid{-180, -180};

//! Latitude within ±90 and longitude within ±180 (NaN is neither).
inline bool OVNLocationCoordinate2DIsValid(OVNLocationCoordinate2D coordinate) {
  return std::fabs(coordinate.latitude) <= 90 && std::fabs(coordinate.longitude) <= 180;
}
