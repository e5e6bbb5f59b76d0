#pragma once
// Plain C++ structs for one observation of the benchmark payload (see ObservationPayload.h),
// and two decoders of the whole reply into them. They are the anchors the library's own
// mapping is measured against: simdjson On-Demand written by hand straight into the structs
// (about the fastest honest decoding there is), and nlohmann-json with the usual `from_json`
// functions (what a typical C++ program would write). Both are strict in the same way: every
// member must be present with the right JSON type, else they throw; "precipMM" may be null.
// Benchmark code only; the library uses neither.

#include <simdjson.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct PlainPlace {
  std::string name, state, country;
  bool operator==(const PlainPlace&) const = default;
};

struct PlainProfile {
  std::string timezone;         // "tz"
  std::int64_t elevationM = 0;  // "elevM"
  bool hasPrecip = false;
  bool operator==(const PlainProfile&) const = default;
};

struct PlainMeasurements {
  double tempC = 0, tempF = 0, dewpointC = 0;
  std::int64_t humidity = 0, pressureMB = 0, windKPH = 0, sky = 0;
  std::string windDir, weather, weatherCoded, icon;
  bool isDay = false;
  double visibilityKM = 0;
  std::optional<double> precipMM;
  bool operator==(const PlainMeasurements&) const = default;
};

struct PlainPeriod {
  std::int64_t timestamp = 0;
  double tempC = 0;
  bool operator==(const PlainPeriod&) const = default;
};

struct PlainObservation {
  std::string id, dataSource;
  double latitude = 0, longitude = 0;  // "loc": {"lat", "long"}
  PlainPlace place;
  PlainProfile profile;
  std::int64_t obTimestamp = 0;
  std::string obDateTime;
  PlainMeasurements ob;
  std::vector<PlainPeriod> periods;
  bool operator==(const PlainObservation&) const = default;
};

// ---- simdjson On-Demand -------------------------------------------------------------------
//
// Members are asked for in the order the service writes them, so each lookup finds its key
// at the cursor; any other order still works (the lookup wraps around), only slower.

namespace plain_ondemand {

using simdjson::ondemand::object;

inline std::string text(simdjson::simdjson_result<simdjson::ondemand::value> value) {
  return std::string(std::string_view(value.get_string()));
}

inline void observation(object o, PlainObservation& out) {
  out.id = text(o["id"]);
  out.dataSource = text(o["dataSource"]);
  {
    object loc = o["loc"];
    out.latitude = loc["lat"].get_double();
    out.longitude = loc["long"].get_double();
  }
  {
    object place = o["place"];
    out.place.name = text(place["name"]);
    out.place.state = text(place["state"]);
    out.place.country = text(place["country"]);
  }
  {
    object profile = o["profile"];
    out.profile.timezone = text(profile["tz"]);
    out.profile.elevationM = profile["elevM"].get_int64();
    out.profile.hasPrecip = profile["hasPrecip"].get_bool();
  }
  out.obTimestamp = o["obTimestamp"].get_int64();
  out.obDateTime = text(o["obDateTime"]);
  {
    object ob = o["ob"];
    PlainMeasurements& m = out.ob;
    m.tempC = ob["tempC"].get_double();
    m.tempF = ob["tempF"].get_double();
    m.dewpointC = ob["dewpointC"].get_double();
    m.humidity = ob["humidity"].get_int64();
    m.pressureMB = ob["pressureMB"].get_int64();
    m.windKPH = ob["windKPH"].get_int64();
    m.windDir = text(ob["windDir"]);
    m.weather = text(ob["weather"]);
    m.weatherCoded = text(ob["weatherCoded"]);
    m.icon = text(ob["icon"]);
    m.isDay = ob["isDay"].get_bool();
    m.visibilityKM = ob["visibilityKM"].get_double();
    m.sky = ob["sky"].get_int64();
    auto precip = ob["precipMM"];
    if (!precip.is_null()) m.precipMM = precip.get_double();
  }
  for (object period : o["periods"].get_array()) {
    PlainPeriod p;
    p.timestamp = period["timestamp"].get_int64();
    p.tempC = period["tempC"].get_double();
    out.periods.push_back(p);
  }
}

}  // namespace plain_ondemand

//! The observations of a reply, read with a caller-kept parser from bytes padded once.
//! Throws simdjson::simdjson_error on malformed JSON or a member of the wrong shape.
inline std::vector<PlainObservation> decodeWithSimdjsonOnDemand(simdjson::ondemand::parser& parser,
                                                                const simdjson::padded_string& json) {
  simdjson::ondemand::document doc = parser.iterate(json);
  std::vector<PlainObservation> observations;
  simdjson::ondemand::array response = doc["response"].get_array();
  for (simdjson::ondemand::object o : response) plain_ondemand::observation(o, observations.emplace_back());
  return observations;
}

// ---- nlohmann-json ------------------------------------------------------------------------

inline void from_json(const nlohmann::json& j, PlainPlace& p) {
  j.at("name").get_to(p.name);
  j.at("state").get_to(p.state);
  j.at("country").get_to(p.country);
}

inline void from_json(const nlohmann::json& j, PlainProfile& p) {
  j.at("tz").get_to(p.timezone);
  j.at("elevM").get_to(p.elevationM);
  j.at("hasPrecip").get_to(p.hasPrecip);
}

inline void from_json(const nlohmann::json& j, PlainMeasurements& m) {
  j.at("tempC").get_to(m.tempC);
  j.at("tempF").get_to(m.tempF);
  j.at("dewpointC").get_to(m.dewpointC);
  j.at("humidity").get_to(m.humidity);
  j.at("pressureMB").get_to(m.pressureMB);
  j.at("windKPH").get_to(m.windKPH);
  j.at("windDir").get_to(m.windDir);
  j.at("weather").get_to(m.weather);
  j.at("weatherCoded").get_to(m.weatherCoded);
  j.at("icon").get_to(m.icon);
  j.at("isDay").get_to(m.isDay);
  j.at("visibilityKM").get_to(m.visibilityKM);
  j.at("sky").get_to(m.sky);
  const nlohmann::json& precip = j.at("precipMM");
  if (precip.is_null())
    m.precipMM.reset();
  else
    m.precipMM = precip.get<double>();
}

inline void from_json(const nlohmann::json& j, PlainPeriod& p) {
  j.at("timestamp").get_to(p.timestamp);
  j.at("tempC").get_to(p.tempC);
}

inline void from_json(const nlohmann::json& j, PlainObservation& o) {
  j.at("id").get_to(o.id);
  j.at("dataSource").get_to(o.dataSource);
  const nlohmann::json& loc = j.at("loc");
  loc.at("lat").get_to(o.latitude);
  loc.at("long").get_to(o.longitude);
  j.at("place").get_to(o.place);
  j.at("profile").get_to(o.profile);
  j.at("obTimestamp").get_to(o.obTimestamp);
  j.at("obDateTime").get_to(o.obDateTime);
  j.at("ob").get_to(o.ob);
  j.at("periods").get_to(o.periods);
}

//! The observations of a reply through nlohmann-json's document and `from_json`.
//! Throws nlohmann::json::exception on malformed JSON or a member of the wrong shape.
inline std::vector<PlainObservation> decodeWithNlohmann(std::string_view json) {
  return nlohmann::json::parse(json).at("response").get<std::vector<PlainObservation>>();
}
