#pragma once
// Geodesy for the platform's location type (CLLocation): great-circle distances and initial
// bearings, bounding boxes around a set of locations or around a centre, and the small
// coordinate helpers they use. The earth is a sphere of radius OVNEarthRadius kilometres;
// distances are metres (radius 6,371,010 m), angles are degrees unless said otherwise.
//
// Threads: any thread. These are pure functions of their arguments.
//
// Kept on purpose, as callers already rely on them:
// - A bearing lies in (0, 360]: due north reads 360, never 0.
// - ovn_boundingBoxWithCenter stores each corner number in radians multiplied by pi/180
//   once more (the radian values pass through OVNDegreesToRadians a second time). Callers
//   who need degrees multiply each number by (180/pi)^2.
// - ovn_boundingBoxContainingLocations compares longitudes as plain numbers, so locations on
//   both sides of the 180th meridian give a box reaching nearly around the globe.
//
// Bad input never crashes and never reaches undefined behaviour; what each function gives
// is said beside it. Latitudes beyond ±90 and longitudes beyond ±180 are not checked: the
// formulas read them as angles like any other.

#include <string>
#include <vector>

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

//! All four numbers 0; also the box of a list without locations.
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

//! The class operation: the smallest box, by plain comparison of degrees, holding every
//! location's coordinate. Null entries are skipped; an empty list, or one of nulls only,
//! gives OVNCoordinateRectZero. A NaN number of the first location stays in the box (no
//! comparison replaces it); a NaN of a later one is passed over.
OVN_EXPORT OVNCoordinateRect ovn_boundingBoxContainingLocations(const std::vector<OVNLocationRef>& locations);

//! The class operation: the box holding the circle of `radius` metres around `center`,
//! each number in radians x pi/180 (see the top; multiply by (180/pi)^2 for degrees).
//! Where a pole lies within the circle the box spans every longitude (-pi to pi before the
//! second conversion) and its latitudes stop at the pole. Longitudes past ±pi wrap round.
//! Odd input gives what the formula gives, without a crash:
//! - radius 0: both corners at the centre (at a pole, the polar box);
//! - NaN or +infinite radius, NaN latitude: the whole globe, latitudes -pi/2 to pi/2;
//! - latitude +infinity: north-west latitude pi/2 and south-east +infinity (-infinity: the
//!   mirror image);
//! - a latitude beyond ±90: the polar box, with the pole on one side and, on the other,
//!   a latitude beyond that pole;
//! - NaN or infinite longitude away from the poles: that value in both longitudes;
//! - negative radius away from the poles: latitudes and longitudes swapped (north-west lies
//!   south and east of south-east), and NaN longitudes where asin has no answer.
OVN_EXPORT OVNCoordinateRect ovn_boundingBoxWithCenter(OVNLocationCoordinate2D center, double radius);
