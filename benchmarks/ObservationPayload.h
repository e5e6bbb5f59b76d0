#pragma once
// A service reply of realistic shape for the benchmarks: the JSON envelope with an array of
// observation-like objects (place, location, nested measurements, periods). Deterministic.

#include <cstddef>
#include <string>

#include "Platform/Values/OVNFormat.h"

inline std::string makeObservationEnvelope(std::size_t count) {
  std::string json = "{\"success\":true,\"error\":null,\"response\":[";
  for (std::size_t i = 0; i < count; ++i) {
    if (i) json += ',';
    const double lat = 30.0 + static_cast<double>(i % 500) * 0.013;
    const double lon = -97.0 - static_cast<double>(i % 700) * 0.017;
    json += OVNFormat(
        "{\"id\":\"KAUS%lu\",\"dataSource\":\"METAR\",\"loc\":{\"lat\":%0.4f,\"long\":%0.4f},"
        "\"place\":{\"name\":\"austin %lu\",\"state\":\"tx\",\"country\":\"us\"},"
        "\"profile\":{\"tz\":\"America/Chicago\",\"elevM\":%lu,\"hasPrecip\":%@},"
        "\"obTimestamp\":%lu,\"obDateTime\":\"2026-11-21T10:%02lu:00-06:00\","
        "\"ob\":{\"tempC\":%0.1f,\"tempF\":%0.1f,\"dewpointC\":%0.1f,\"humidity\":%lu,\"pressureMB\":%lu,"
        "\"windKPH\":%lu,\"windDir\":\"NNE\",\"weather\":\"Partly Cloudy with a chance of \\\"rain\\\"\","
        "\"weatherCoded\":\"::SC\",\"icon\":\"pcloudy.png\",\"isDay\":%@,\"visibilityKM\":16.09,"
        "\"sky\":%lu,\"precipMM\":null},"
        "\"periods\":[{\"timestamp\":%lu,\"tempC\":%0.1f},{\"timestamp\":%lu,\"tempC\":%0.1f}]}",
        static_cast<unsigned long>(i), lat, lon, static_cast<unsigned long>(i),
        static_cast<unsigned long>(100 + i % 300), (i % 3 == 0) ? "true" : "false",
        static_cast<unsigned long>(1795000000 + i * 60), static_cast<unsigned long>(i % 60),
        10.0 + static_cast<double>(i % 200) * 0.1, 50.0 + static_cast<double>(i % 360) * 0.1,
        -2.0 + static_cast<double>(i % 90) * 0.1, static_cast<unsigned long>(20 + i % 80),
        static_cast<unsigned long>(990 + i % 40), static_cast<unsigned long>(i % 50), (i % 2 == 0) ? "true" : "false",
        static_cast<unsigned long>(i % 100), static_cast<unsigned long>(1795000000 + i * 60 + 3600),
        11.0 + static_cast<double>(i % 100) * 0.1, static_cast<unsigned long>(1795000000 + i * 60 + 7200),
        12.0 + static_cast<double>(i % 100) * 0.1);
  }
  json += "]}";
  return json;
}
