#pragma once
// The stations the local weather service reports for: real cities with their airports'
// ICAO ids, coordinates, time zones and elevations, followed by generated neighbours
// ("austin-1", 5 to 25 km from austin) so that a list of 100 observations is 100 distinct
// stations. The table is fixed at construction and the same in every run.
//
// Threads: immutable after construction; any thread may read it.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct WeatherStation {
  std::string id;          // "KAUS"
  std::string dataSource;  // "METAR", "MADIS" or "PWS"
  std::string name;        // "austin", lower case
  std::string state;       // "tx"; "" where none applies
  std::string country;     // "us", two lower-case letters
  double latitude = 0;
  double longitude = 0;
  std::string timezone;      // "America/Chicago"
  int utcOffsetMinutes = 0;  // the zone's standard offset
  int elevationM = 0;
  bool hasPrecip = false;
  bool isCity = false;  // false for a generated neighbour
};

class WeatherTable {
 public:
  WeatherTable();

  //! Cities first, in table order, then the generated neighbours.
  const std::vector<WeatherStation>& stations() const { return stations_; }

  //! "austin", "austin,tx", "paris,fr" (case-insensitive): the first station of that name
  //! whose state or country matches the code; null if there is none.
  const WeatherStation* find(std::string_view place) const;

  //! The `limit` stations nearest to the point by great-circle distance, nearest first.
  std::vector<const WeatherStation*> closest(double latitude, double longitude, std::size_t limit) const;

  //! Cities whose name starts with `prefix` (case-insensitive), in table order.
  std::vector<const WeatherStation*> citiesStartingWith(std::string_view prefix, std::size_t limit) const;

 private:
  std::vector<WeatherStation> stations_;
};
