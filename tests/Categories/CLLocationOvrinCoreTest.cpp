#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "Categories/CLLocation+OvrinCore.h"

namespace {

using Coordinate = OVNLocationCoordinate2D;
const double kPi = std::numbers::pi, kNaN = std::nan(""), kInf = HUGE_VAL, kDegree = 6371010 * kPi / 180;  // of arc, m
// The Aviation Formulary's worked example (Ed Williams, edwilliams.org/avform.htm): LAX (33°57'N
// 118°24'W) to JFK (40°38'N 73°47'W) is 0.623585 rad of arc, the initial true course 1.150035 rad.
constexpr Coordinate kLAX{33 + 57.0 / 60, -(118 + 24.0 / 60)}, kJFK{40 + 38.0 / 60, -(73 + 47.0 / 60)};
OVNLocationRef at(Coordinate c) { return OVNLocation::initWithLatitude(c.latitude, c.longitude); }
std::vector<double> numbers(OVNCoordinateRect r, double s = 1) {
  return {r.northWest.latitude * s, r.northWest.longitude * s, r.southEast.latitude * s, r.southEast.longitude * s};
}

// City figures from python3's math module (haversine, radius 6,371,010 m; the bearing formula), each within
// 1e-12 of a vector computation: the angle between unit vectors, the target's east and north components.
TEST(CLLocationOvrinCoreTest, DistancesAndBearingsMatchFiguresComputedElsewhere) {
  for (const auto& [from, to, metres, degrees] : std::vector<std::tuple<Coordinate, Coordinate, double, double>>{
           {{0, 0}, {1, 0}, kDegree, 360},  // due north reads 360 (kept)
           {{0, 0}, {0, 1}, kDegree, 90},
           {{0, 0}, {-1, 0}, kDegree, 180},
           {{0, 0}, {0, -1}, kDegree, 270},
           {{12.5, -7.25}, {12.5, -7.25}, 0, 360},
           {{51.5074, -0.1278}, {48.8566, 2.3522}, 343556.59959086165, 148.11561687105336},     // London-Paris
           {{-33.8688, 151.2093}, {35.6762, 139.6503}, 7825830.900017361, 350.04904749782787},  // Sydney-Tokyo
           {kLAX, kJFK, 0.623585 * 6371010, 1.150035 * 180 / kPi}}) {
    const double tolerance = from == kLAX ? 1e-6 : 1e-12;  // relative; the published figures have six digits
    EXPECT_NEAR(ovn_distanceFromCoordinate(from, to), metres, metres * tolerance);
    EXPECT_NEAR(ovn_distanceFromCoordinate(*at(to), from), metres, metres * tolerance);
    EXPECT_NEAR(ovn_directionToLocation(*at(from), *at(to)), degrees, degrees * tolerance);
  }
  EXPECT_NEAR(ovn_distanceFromCoordinate({-82, 0}, {82, 180}), kPi * 6371010, 1e-6);  // haversine term rounds past 1
}

TEST(CLLocationOvrinCoreTest, HelpersBoundingBoxesAndBadInput) {
  for (const auto& [coordinate, nonZero] : std::vector<std::pair<Coordinate, bool>>{
           {{0, 10}, false}, {{10, 0}, false}, {{95, 10}, true}, {{kNaN, -kInf}, true}, {{-1e-300, 1}, true}})
    EXPECT_EQ(OVNCoordinate2DIsValidNonZero(coordinate), nonZero) << OVNStringFromCLLocationCoordinate2D(coordinate);
  EXPECT_TRUE(OVNCoordinateRectIsValidNonZero({{1, 2}, {3, 4}}) && !OVNCoordinateRectIsValidNonZero({{1, 2}, {3, 0}}));
  EXPECT_EQ(OVNStringFromCLLocationCoordinate2D({1.5, -2.25}), "(1.500000, -2.250000)");
  EXPECT_EQ(OVNStringFromCLLocationCoordinate2D({kNaN, -kInf}), "(nan, -inf)");
  const auto& boxOf = ovn_boundingBoxContainingLocations;
  EXPECT_TRUE(boxOf({}) == OVNCoordinateRectZero && boxOf({nullptr, nullptr}) == OVNCoordinateRectZero);
  EXPECT_EQ(boxOf({at({40.5, -74})}), (OVNCoordinateRect{{40.5, -74}, {40.5, -74}}));
  EXPECT_EQ(boxOf({nullptr, at({10, 20}), at({5, 30}), nullptr, at({7, 25})}), (OVNCoordinateRect{{10, 20}, {5, 30}}));
  EXPECT_EQ(boxOf({at({60, 179}), at({61, -179})}), (OVNCoordinateRect{{61, -179}, {60, 179}}));  // kept: the long way
  for (const auto& [center, radius, degrees] : std::vector<std::tuple<Coordinate, double, OVNCoordinateRect>>{
           {{0, 0}, kDegree, {{1, -1}, {-1, 1}}},
           {{0, 179.5}, kDegree, {{1, 178.5}, {-1, -179.5}}},
           {{89.9, 0}, 50000, {{90, -180}, {89.9 - 50000 / kDegree, 180}}},  // pole: -pi, pi, converted again
           {{0, 5}, 0, {{0, 5}, {0, 5}}},
           {{0, 5}, kNaN, {{90, -180}, {-90, 180}}},
           {{kNaN, 5}, kDegree, {{90, -180}, {-90, 180}}},
           {{0, 5}, -kDegree, {{-1, 6}, {1, 4}}},
           {{5, kNaN}, kDegree, {{6, kNaN}, {4, kNaN}}},
           {{100, 5}, kDegree, {{90, -180}, {99, 180}}}}) {
    EXPECT_THAT(numbers(ovn_boundingBoxWithCenter(center, radius), 180 / kPi * 180 / kPi),
                testing::Pointwise(testing::NanSensitiveDoubleNear(1e-9), numbers(degrees)));
  }
  for (const Coordinate odd : {Coordinate{kNaN, 5}, {kInf, 5}, {5, kNaN}, {5, -kInf}})
    EXPECT_TRUE(std::isnan(ovn_distanceFromCoordinate(odd, {1, 1})) &&
                std::isnan(ovn_directionFromCoordinate({1, 1}, odd)));
}

}  // namespace
