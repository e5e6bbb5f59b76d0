#include "WeatherTable.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>
#include <utility>

#include "StableHash.h"

namespace {

struct City {
  const char* id;
  const char* name;
  const char* state;
  const char* country;
  double latitude;
  double longitude;
  const char* timezone;
  int utcOffsetMinutes;
  int elevationM;
};

// Airports stand for their cities: the coordinates and elevations are the airports'.
constexpr City kCities[] = {
    {"KAUS", "austin", "tx", "us", 30.19, -97.67, "America/Chicago", -360, 148},
    {"KDFW", "dallas", "tx", "us", 32.90, -97.04, "America/Chicago", -360, 185},
    {"KIAH", "houston", "tx", "us", 29.98, -95.34, "America/Chicago", -360, 29},
    {"KSAT", "san antonio", "tx", "us", 29.53, -98.47, "America/Chicago", -360, 241},
    {"KJFK", "new york", "ny", "us", 40.64, -73.78, "America/New_York", -300, 4},
    {"KBOS", "boston", "ma", "us", 42.36, -71.01, "America/New_York", -300, 6},
    {"KORD", "chicago", "il", "us", 41.98, -87.90, "America/Chicago", -360, 205},
    {"KDEN", "denver", "co", "us", 39.86, -104.67, "America/Denver", -420, 1656},
    {"KLAX", "los angeles", "ca", "us", 33.94, -118.41, "America/Los_Angeles", -480, 38},
    {"KSFO", "san francisco", "ca", "us", 37.62, -122.37, "America/Los_Angeles", -480, 4},
    {"KSEA", "seattle", "wa", "us", 47.45, -122.31, "America/Los_Angeles", -480, 131},
    {"KMIA", "miami", "fl", "us", 25.79, -80.29, "America/New_York", -300, 3},
    {"KATL", "atlanta", "ga", "us", 33.64, -84.43, "America/New_York", -300, 313},
    {"KPHX", "phoenix", "az", "us", 33.43, -112.01, "America/Phoenix", -420, 337},
    {"KMSP", "minneapolis", "mn", "us", 44.88, -93.22, "America/Chicago", -360, 256},
    {"KDCA", "washington", "dc", "us", 38.85, -77.04, "America/New_York", -300, 4},
    {"PANC", "anchorage", "ak", "us", 61.17, -150.00, "America/Anchorage", -540, 46},
    {"PHNL", "honolulu", "hi", "us", 21.32, -157.92, "Pacific/Honolulu", -600, 4},
    {"CYYZ", "toronto", "on", "ca", 43.68, -79.63, "America/Toronto", -300, 173},
    {"CYUL", "montreal", "qc", "ca", 45.47, -73.74, "America/Toronto", -300, 36},
    {"CYVR", "vancouver", "bc", "ca", 49.19, -123.18, "America/Vancouver", -480, 4},
    {"MMMX", "mexico city", "", "mx", 19.44, -99.07, "America/Mexico_City", -360, 2230},
    {"EGLL", "london", "", "gb", 51.47, -0.45, "Europe/London", 0, 25},
    {"LFPG", "paris", "", "fr", 49.01, 2.55, "Europe/Paris", 60, 119},
    {"EDDB", "berlin", "", "de", 52.36, 13.50, "Europe/Berlin", 60, 48},
    {"EDDM", "munich", "", "de", 48.35, 11.79, "Europe/Berlin", 60, 453},
    {"EHAM", "amsterdam", "", "nl", 52.31, 4.76, "Europe/Amsterdam", 60, -3},
    {"LEMD", "madrid", "", "es", 40.47, -3.56, "Europe/Madrid", 60, 610},
    {"LIRF", "rome", "", "it", 41.80, 12.24, "Europe/Rome", 60, 5},
    {"LSZH", "zurich", "", "ch", 47.46, 8.55, "Europe/Zurich", 60, 432},
    {"LOWW", "vienna", "", "at", 48.11, 16.57, "Europe/Vienna", 60, 183},
    {"ESSA", "stockholm", "", "se", 59.65, 17.92, "Europe/Stockholm", 60, 42},
    {"ENGM", "oslo", "", "no", 60.19, 11.10, "Europe/Oslo", 60, 208},
    {"EFHK", "helsinki", "", "fi", 60.32, 24.96, "Europe/Helsinki", 120, 55},
    {"EIDW", "dublin", "", "ie", 53.42, -6.27, "Europe/Dublin", 0, 74},
    {"LPPT", "lisbon", "", "pt", 38.77, -9.13, "Europe/Lisbon", 0, 114},
    {"LGAV", "athens", "", "gr", 37.94, 23.94, "Europe/Athens", 120, 94},
    {"LTFM", "istanbul", "", "tr", 41.26, 28.74, "Europe/Istanbul", 180, 99},
    {"UUEE", "moscow", "", "ru", 55.97, 37.41, "Europe/Moscow", 180, 192},
    {"BIRK", "reykjavik", "", "is", 64.13, -21.94, "Atlantic/Reykjavik", 0, 14},
    {"HECA", "cairo", "", "eg", 30.12, 31.41, "Africa/Cairo", 120, 116},
    {"HKJK", "nairobi", "", "ke", -1.32, 36.93, "Africa/Nairobi", 180, 1624},
    {"FAOR", "johannesburg", "", "za", -26.14, 28.25, "Africa/Johannesburg", 120, 1694},
    {"FACT", "cape town", "", "za", -33.97, 18.60, "Africa/Johannesburg", 120, 46},
    {"OMDB", "dubai", "", "ae", 25.25, 55.36, "Asia/Dubai", 240, 19},
    {"VABB", "mumbai", "", "in", 19.09, 72.87, "Asia/Kolkata", 330, 11},
    {"VIDP", "delhi", "", "in", 28.57, 77.10, "Asia/Kolkata", 330, 237},
    {"WSSS", "singapore", "", "sg", 1.36, 103.99, "Asia/Singapore", 480, 7},
    {"VHHH", "hong kong", "", "hk", 22.31, 113.91, "Asia/Hong_Kong", 480, 9},
    {"ZBAA", "beijing", "", "cn", 40.08, 116.58, "Asia/Shanghai", 480, 35},
    {"ZSPD", "shanghai", "", "cn", 31.14, 121.81, "Asia/Shanghai", 480, 4},
    {"RKSI", "seoul", "", "kr", 37.46, 126.44, "Asia/Seoul", 540, 7},
    {"RJTT", "tokyo", "", "jp", 35.55, 139.78, "Asia/Tokyo", 540, 6},
    {"RJBB", "osaka", "", "jp", 34.43, 135.24, "Asia/Tokyo", 540, 5},
    {"YSSY", "sydney", "nsw", "au", -33.95, 151.18, "Australia/Sydney", 600, 6},
    {"YMML", "melbourne", "vic", "au", -37.67, 144.84, "Australia/Melbourne", 600, 132},
    {"YPPH", "perth", "wa", "au", -31.94, 115.97, "Australia/Perth", 480, 20},
    {"NZAA", "auckland", "", "nz", -37.01, 174.79, "Pacific/Auckland", 720, 7},
    {"SBGR", "sao paulo", "", "br", -23.43, -46.47, "America/Sao_Paulo", -180, 750},
    {"SBGL", "rio de janeiro", "", "br", -22.81, -43.25, "America/Sao_Paulo", -180, 9},
    {"SAEZ", "buenos aires", "", "ar", -34.82, -58.54, "America/Argentina/Buenos_Aires", -180, 20},
    {"SCEL", "santiago", "", "cl", -33.39, -70.79, "America/Santiago", -240, 474},
    {"SPJC", "lima", "", "pe", -12.02, -77.11, "America/Lima", -300, 34},
    {"SKBO", "bogota", "", "co", 4.70, -74.15, "America/Bogota", -300, 2548},
};

// Each city gets this many generated neighbours: 64 cities and 64 neighbours, enough for
// the largest list the service returns (100).
constexpr int kNeighboursPerCity = 1;
constexpr double kNeighbourMinDegrees = 0.05;
constexpr double kNeighbourSpreadDegrees = 0.2;
constexpr int kNeighbourElevationSpreadM = 40;
constexpr double kCoordinateStep = 100.0;  // coordinates keep two decimals
constexpr double kMaxLatitude = 90;
constexpr double kMaxLongitude = 180;
constexpr double kEarthRadiusKm = 6371.0;

double roundCoordinate(double value) { return std::round(value * kCoordinateStep) / kCoordinateStep; }

std::string lowercase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

WeatherStation cityStation(const City& city) {
  return WeatherStation{city.id,
                        "METAR",
                        city.name,
                        city.state,
                        city.country,
                        city.latitude,
                        city.longitude,
                        city.timezone,
                        city.utcOffsetMinutes,
                        city.elevationM,
                        /*hasPrecip=*/true,
                        /*isCity=*/true};
}

// A station a few kilometres from its city, placed by the hash of its id; MADIS and
// personal (PWS) stations alternate, and only MADIS ones measure precipitation.
WeatherStation neighbourStation(const WeatherStation& city, int k) {
  WeatherStation station = city;
  station.id = city.id + "-" + std::to_string(k);
  station.name = city.name + "-" + std::to_string(k);
  station.isCity = false;
  const bool madis = stableHash(station.id) % 2 == 0;
  station.dataSource = madis ? "MADIS" : "PWS";
  station.hasPrecip = madis;
  const double angle = 2 * std::numbers::pi * stableUnit(station.id + "|angle");
  const double distance = kNeighbourMinDegrees + kNeighbourSpreadDegrees * stableUnit(station.id + "|distance");
  station.latitude =
      std::clamp(roundCoordinate(city.latitude + distance * std::sin(angle)), -kMaxLatitude, kMaxLatitude);
  station.longitude =
      std::clamp(roundCoordinate(city.longitude + distance * std::cos(angle)), -kMaxLongitude, kMaxLongitude);
  station.elevationM += static_cast<int>(stableHash(station.id + "|elevation") % kNeighbourElevationSpreadM);
  return station;
}

double radians(double degrees) { return degrees * std::numbers::pi / 180; }

double greatCircleKm(double latitude1, double longitude1, double latitude2, double longitude2) {
  const double dLatitude = radians(latitude2 - latitude1);
  const double dLongitude = radians(longitude2 - longitude1);
  const double a = std::pow(std::sin(dLatitude / 2), 2) +
                   std::cos(radians(latitude1)) * std::cos(radians(latitude2)) * std::pow(std::sin(dLongitude / 2), 2);
  return 2 * kEarthRadiusKm * std::asin(std::min(1.0, std::sqrt(a)));
}

}  // namespace

WeatherTable::WeatherTable() {
  for (const City& city : kCities) stations_.push_back(cityStation(city));
  const std::size_t cityCount = stations_.size();
  for (int k = 1; k <= kNeighboursPerCity; ++k) {
    for (std::size_t i = 0; i < cityCount; ++i) stations_.push_back(neighbourStation(stations_[i], k));
  }
}

const WeatherStation* WeatherTable::find(std::string_view place) const {
  const std::string lowered = lowercase(place);
  std::string_view text = lowered;
  std::string_view code;
  if (const auto comma = text.find(','); comma != std::string_view::npos) {
    code = trimmed(text.substr(comma + 1));
    text = text.substr(0, comma);
  }
  const std::string_view name = trimmed(text);
  for (const WeatherStation& station : stations_) {
    if (station.name != name) continue;
    if (code.empty() || code == station.state || code == station.country) return &station;
  }
  return nullptr;
}

std::vector<const WeatherStation*> WeatherTable::closest(double latitude, double longitude, std::size_t limit) const {
  std::vector<std::pair<double, const WeatherStation*>> byDistance;
  byDistance.reserve(stations_.size());
  for (const WeatherStation& station : stations_) {
    byDistance.emplace_back(greatCircleKm(latitude, longitude, station.latitude, station.longitude), &station);
  }
  // Stable, so that equally distant stations keep table order.
  std::stable_sort(byDistance.begin(), byDistance.end(),
                   [](const auto& left, const auto& right) { return left.first < right.first; });
  std::vector<const WeatherStation*> result;
  for (std::size_t i = 0; i < byDistance.size() && i < limit; ++i) result.push_back(byDistance[i].second);
  return result;
}

std::vector<const WeatherStation*> WeatherTable::citiesStartingWith(std::string_view prefix, std::size_t limit) const {
  const std::string lowered = lowercase(prefix);
  std::vector<const WeatherStation*> result;
  for (const WeatherStation& station : stations_) {
    if (result.size() >= limit) break;
    if (station.isCity && station.name.starts_with(lowered)) result.push_back(&station);
  }
  return result;
}
