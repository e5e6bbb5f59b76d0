#include "WeatherGenerator.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <numbers>
#include <string>

#include "StableHash.h"

namespace {

using Json = nlohmann::ordered_json;

constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kObservationInterval = 20 * kSecondsPerMinute;
constexpr int kObservationPeriods = 2;
constexpr int kForecastPeriods = 24;

// Climate: a mean falling with latitude beyond the tropics, a seasonal swing growing with
// latitude (coldest in mid-January in the north), a daily swing peaking at 15:00 local
// time, cooling with height, and a little noise.
constexpr double kTropicalMeanC = 27;
constexpr double kTropicsEdgeDegrees = 15;
constexpr double kMeanDropPerDegree = 0.38;
constexpr double kSeasonalSwingPerDegree = 0.25;
constexpr double kColdestDayOfYear = 15;
constexpr double kDaysPerYear = 365.25;
constexpr double kDailySwingC = 4;
constexpr double kWarmestHour = 15;
constexpr double kHoursPerDay = 24;
constexpr double kCoolingPerMetreC = 0.004;
constexpr double kNoiseC = 3;

constexpr double kMinDewpointSpreadC = 2;
constexpr double kDewpointSpreadRangeC = 12;
constexpr double kMagnusA = 17.625;
constexpr double kMagnusBC = 243.04;
constexpr double kMinPressureMB = 1000;
constexpr double kPressureRangeMB = 30;
constexpr double kMaxWindKPH = 40;
constexpr double kClearVisibilityKM = 16.09;
constexpr double kMinRainVisibilityKM = 4;
constexpr double kRainVisibilityRangeKM = 6;
constexpr double kMinPrecipMM = 0.1;
constexpr double kPrecipRangeMM = 3;
constexpr double kRainChanceWhenOvercast = 0.4;
constexpr int kRainSkyPercent = 80;
constexpr double kFreezingC = 0;
constexpr int kDayStartHour = 6;
constexpr int kDayEndHour = 18;

constexpr std::array<const char*, 16> kCompassPoints = {"N", "NNE", "NE", "ENE", "E", "ESE", "SE", "SSE",
                                                        "S", "SSW", "SW", "WSW", "W", "WNW", "NW", "NNW"};

struct SkyCondition {
  int upToPercent;
  const char* weather;
  const char* coded;
  const char* dayIcon;
  const char* nightIcon;
};
constexpr std::array<SkyCondition, 5> kSkyConditions = {{
    {10, "Clear", "::CL", "sunny.png", "clearn.png"},
    {30, "Mostly Sunny", "::FW", "fair.png", "fairn.png"},
    {60, "Partly Cloudy", "::SC", "pcloudy.png", "pcloudyn.png"},
    {90, "Mostly Cloudy", "::BK", "mcloudy.png", "mcloudyn.png"},
    {100, "Cloudy", "::OV", "cloudy.png", "cloudyn.png"},
}};

int qualityOf(const std::string& dataSource) {
  constexpr int kMetarQuality = 10;
  constexpr int kMadisQuality = 7;
  constexpr int kPersonalQuality = 5;
  if (dataSource == "METAR") return kMetarQuality;
  return dataSource == "MADIS" ? kMadisQuality : kPersonalQuality;
}

double tenths(double value) { return std::round(value * 10) / 10; }
double hundredths(double value) { return std::round(value * 100) / 100; }

std::int64_t floorDiv(std::int64_t value, std::int64_t divisor) {
  std::int64_t quotient = value / divisor;
  if (value % divisor != 0 && value < 0) --quotient;
  return quotient;
}

// One hashed value in [0, 1) per station, hour and quantity.
double variation(const WeatherStation& station, std::int64_t time, const char* quantity) {
  return stableUnit(station.id + "|" + std::to_string(floorDiv(time, kSecondsPerHour)) + "|" + quantity);
}

std::int64_t localSeconds(const WeatherStation& station, std::int64_t time) {
  return time + station.utcOffsetMinutes * kSecondsPerMinute;
}

double localHour(const WeatherStation& station, std::int64_t time) {
  const std::int64_t secondOfDay =
      localSeconds(station, time) - floorDiv(localSeconds(station, time), kSecondsPerDay) * kSecondsPerDay;
  return static_cast<double>(secondOfDay) / kSecondsPerHour;
}

std::tm brokenDown(std::int64_t seconds) {
  const std::time_t value = static_cast<std::time_t>(seconds);
  std::tm fields{};
  gmtime_r(&value, &fields);
  return fields;
}

// "2026-11-18T10:26:40-06:00": the time in the station's standard offset.
std::string isoLocalTime(const WeatherStation& station, std::int64_t time) {
  const std::tm fields = brokenDown(localSeconds(station, time));
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &fields);
  const int offset = std::abs(station.utcOffsetMinutes);
  char zone[16];
  std::snprintf(zone, sizeof zone, "%c%02d:%02d", station.utcOffsetMinutes < 0 ? '-' : '+', offset / 60, offset % 60);
  return std::string(stamp) + zone;
}

const SkyCondition& skyCondition(int skyPercent) {
  for (const SkyCondition& condition : kSkyConditions) {
    if (skyPercent <= condition.upToPercent) return condition;
  }
  return kSkyConditions.back();
}

}  // namespace

double WeatherGenerator::temperatureC(const WeatherStation& station, std::int64_t time) {
  const double absLatitude = std::abs(station.latitude);
  const double mean = kTropicalMeanC - kMeanDropPerDegree * std::max(0.0, absLatitude - kTropicsEdgeDegrees);
  const double dayOfYear = brokenDown(localSeconds(station, time)).tm_yday;
  const double hemisphere = station.latitude < 0 ? -1 : 1;
  const double season = -hemisphere * std::cos(2 * std::numbers::pi * (dayOfYear - kColdestDayOfYear) / kDaysPerYear);
  const double daily = std::cos(2 * std::numbers::pi * (localHour(station, time) - kWarmestHour) / kHoursPerDay);
  const double noise = (variation(station, time, "temp") - 0.5) * kNoiseC;
  return tenths(mean + kSeasonalSwingPerDegree * absLatitude * season + kDailySwingC * daily -
                kCoolingPerMetreC * station.elevationM + noise);
}

Json WeatherGenerator::measurements(const WeatherStation& station, std::int64_t time) {
  const double tempC = temperatureC(station, time);
  const double dewpointC =
      tenths(tempC - kMinDewpointSpreadC - kDewpointSpreadRangeC * variation(station, time, "dew"));
  const auto vapour = [](double celsius) { return std::exp(kMagnusA * celsius / (kMagnusBC + celsius)); };
  const auto humidity = std::clamp<std::int64_t>(std::llround(100 * vapour(dewpointC) / vapour(tempC)), 0, 100);
  const auto sky = static_cast<int>(std::lround(100 * variation(station, time, "sky")));
  const bool raining =
      station.hasPrecip && sky >= kRainSkyPercent && variation(station, time, "rain") < kRainChanceWhenOvercast;
  const double hour = localHour(station, time);
  const bool isDay = hour >= kDayStartHour && hour < kDayEndHour;
  const SkyCondition& condition = skyCondition(sky);
  const bool snowing = raining && tempC <= kFreezingC;
  const double wind = variation(station, time, "wind");

  Json ob;
  ob["tempC"] = tempC;
  ob["tempF"] = std::llround(tempC * 9 / 5 + 32);
  ob["dewpointC"] = dewpointC;
  ob["humidity"] = humidity;
  ob["pressureMB"] = std::llround(kMinPressureMB + kPressureRangeMB * variation(station, time, "pressure"));
  ob["windKPH"] = std::llround(kMaxWindKPH * wind * wind);
  const auto compassPoint = static_cast<std::size_t>(variation(station, time, "windDir") * kCompassPoints.size());
  ob["windDir"] = kCompassPoints[compassPoint];
  ob["weather"] = raining ? (snowing ? "Light Snow" : "Light Rain") : condition.weather;
  ob["weatherCoded"] = raining ? (snowing ? ":L:S" : ":L:R") : condition.coded;
  ob["icon"] = raining ? (snowing ? "snow.png" : "rain.png") : (isDay ? condition.dayIcon : condition.nightIcon);
  ob["isDay"] = isDay;
  ob["visibilityKM"] = raining
                           ? hundredths(kMinRainVisibilityKM + kRainVisibilityRangeKM * variation(station, time, "vis"))
                           : kClearVisibilityKM;
  ob["sky"] = sky;
  ob["precipMM"] = raining ? tenths(kMinPrecipMM + kPrecipRangeMM * variation(station, time, "precip")) : 0.0;
  return ob;
}

Json WeatherGenerator::periods(const WeatherStation& station, std::int64_t now, int count) {
  const std::int64_t nextHour = (floorDiv(now, kSecondsPerHour) + 1) * kSecondsPerHour;
  Json result = Json::array();
  for (int i = 0; i < count; ++i) {
    const std::int64_t timestamp = nextHour + i * kSecondsPerHour;
    result.push_back(Json{{"timestamp", timestamp}, {"tempC", temperatureC(station, timestamp)}});
  }
  return result;
}

Json WeatherGenerator::stationMembers(const WeatherStation& station) {
  Json object;
  object["id"] = station.id;
  object["dataSource"] = station.dataSource;
  object["loc"] = Json{{"lat", station.latitude}, {"long", station.longitude}};
  object["place"] = place(station);
  object["profile"] = Json{{"tz", station.timezone}, {"elevM", station.elevationM}, {"hasPrecip", station.hasPrecip}};
  return object;
}

Json WeatherGenerator::observation(const WeatherStation& station, std::int64_t now) {
  const std::int64_t observedAt = floorDiv(now, kObservationInterval) * kObservationInterval;
  Json object = stationMembers(station);
  object["obTimestamp"] = observedAt;
  object["obDateTime"] = isoLocalTime(station, observedAt);
  object["ob"] = measurements(station, observedAt);
  object["periods"] = periods(station, now, kObservationPeriods);
  object["qc"] = qualityOf(station.dataSource);
  return object;
}

Json WeatherGenerator::forecast(const WeatherStation& station, std::int64_t now) {
  Json object = stationMembers(station);
  object["periods"] = periods(station, now, kForecastPeriods);
  return object;
}

Json WeatherGenerator::place(const WeatherStation& station) {
  return Json{{"name", station.name}, {"state", station.state}, {"country", station.country}};
}
