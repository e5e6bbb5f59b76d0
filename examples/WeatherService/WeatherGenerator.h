#pragma once
// Makes the JSON objects the service answers with for one station at one moment:
// observations, forecasts and places. Values follow from the station and the hour alone
// (temperature from latitude, season, hour of day and elevation; the rest from a hash), so
// the same moment gives the same bytes.
//
// Threads: stateless; any thread may call it.

#include <cstdint>
#include <nlohmann/json.hpp>

#include "WeatherTable.h"

class WeatherGenerator {
 public:
  //! {"id", "dataSource", "loc", "place", "profile", "obTimestamp", "obDateTime", "ob",
  //! "periods" (the next two hours), "qc"} for the latest 20-minute mark at or before `now`.
  static nlohmann::ordered_json observation(const WeatherStation& station, std::int64_t now);

  //! The station's "id", "dataSource", "loc", "place" and "profile" with "periods": 24
  //! hourly {"timestamp", "tempC"} from the next full hour.
  static nlohmann::ordered_json forecast(const WeatherStation& station, std::int64_t now);

  //! {"name", "state", "country"}.
  static nlohmann::ordered_json place(const WeatherStation& station);

 private:
  static nlohmann::ordered_json stationMembers(const WeatherStation& station);
  static nlohmann::ordered_json measurements(const WeatherStation& station, std::int64_t time);
  static nlohmann::ordered_json periods(const WeatherStation& station, std::int64_t now, int count);
  static double temperatureC(const WeatherStation& station, std::int64_t time);
};
