#pragma once
// Geodesy for the platform's location type (CLLocation): great-circle distances and initial
// bearings, and the small coordinate helpers they use. The earth is a sphere of radius
// OVNEarthRadius kilometres; distances are metres (radius 6,371,010 m), angles are degrees
// unless said otherwise.
//
// Threads: any thread. These are pure functions of their arguments.
//
// Kept on purpose, as callers already rely on them:
// - A bearing lies in (0, 360]: due north reads 360, never 0.
//
// Bad input never crashes and never reaches undefined behaviour; what each function gives
// is said beside it. Latitudes beyond ±90 and longitudes beyond ±180 are not checked: the
// formulas read them as angles like any other.

#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocation.h"
#include "Platform/Location/OVNLocationCoordinate2D.h"

//! The earth's mean radius in kilometres.
inline constexpr double OVNEarthRadius = 6371.01;

//! A latitude-longitude rectangle: the north-west corner (greatest latitude, least
//! longitude), then the south-east one (least latitude, greatest longitude).
struct OVNCoordinateRect {
  OVNLocationCoordinate2D northWest;
  OVNLocationCoordinate2D southEast;

  friend bool operator==(const OVNCoordinateRect&, const OVNCoordinateRect&) = default;
};

//! All four numbers 0.
inline constexpr OVNCoordinateRect OVNCoordinateRectZero{{0, 0}, {0, 0}};

inline constexpr double OVNDegreesToRadians(double degrees) { return degrees * 0.017453292519943295; }
inline constexpr double OVNRadiansToDegrees(double radians) { return radians * 57.29577951308232; }

//! Neither number is 0 (a NaN is not 0). No range check: (95, 10) is true, (0, 10) false.
inline constexpr bool OVNCoordinate2DIsValidNonZero(OVNLocationCoordinate2D coordinate) {
  return coordinate.latitude != 0 && coordinate.longitude != 0;
}

//! None of the four numbers is 0.
inline constexpr bool OVNCoordinateRectIsValidNonZero(OVNCoordinateRect rect) {
  return OVNCoordinate2DIsValidNonZero(rect.northWest) && OVNCoordinate2DIsValidNonZero(rect.southEast);
}

//! "(latitude, longitude)" with six decimals: "(1.500000, -2.250000)". NaN and infinity
//! print as C prints them ("nan", "-inf").
OVN_EXPORT std::string OVNStringFromCLLocationCoordinate2D(OVNLocationCoordinate2D coordinate);

//! Metres along the great circle from the location's coordinate to `coordinate`
//! (haversine). The haversine term is held within [0, 1]: rounding can push it just past 1
//! for antipodes, which would otherwise read NaN instead of half the circumference. NaN
//! for a NaN or infinite number in either coordinate.
OVN_EXPORT double ovn_distanceFromCoordinate(const OVNLocation& location, OVNLocationCoordinate2D coordinate);
//! The class operation: the distance from a location at `from` to `to`, as above.
OVN_EXPORT double ovn_distanceFromCoordinate(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to);

//! The initial bearing from the location's coordinate to the other's, as
//! ovn_directionFromCoordinate gives it.
OVN_EXPORT double ovn_directionToLocation(const OVNLocation& location, const OVNLocation& other);
//! The class operation: the initial great-circle bearing from `from` to `to` in degrees
//! clockwise from north, within (0, 360]. Due north, and any bearing that works out at 0,
//! reads 360 (kept). Between equal coordinates it is 360 too. NaN for a NaN or infinite
//! number in either coordinate.
OVN_EXPORT double ovn_directionFromCoordinate(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to);
