// Decoding a service reply of 2,000 observations (about 1.2 MB) into objects, three ways in
// one program over the same bytes: the library's own mapping, and two anchors that decode
// into plain structs (ObservationStructs.h): simdjson On-Demand by hand, the fastest honest
// limit, and nlohmann-json with `from_json`, the popular peer. Items are observations.
// Run by scripts/run-benchmarks.sh.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "Observation.h"
#include "ObservationPayload.h"
#include "ObservationStructs.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/Values/OVNArray.h"
#include "WeatherMappings.h"

namespace {

constexpr std::size_t kObservations = 2000;

const std::string& payload() {
  static const std::string json = makeObservationEnvelope(kObservations);
  return json;
}

void setCounts(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload().size()));
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kObservations));
}

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "MappingBenchmark: %s\n", what);
  std::abort();
}

// Once, before any timing: the anchors must agree with each other, or their figures would
// compare different work.
void checkAnchorsAgree() {
  static const bool checked = [] {
    simdjson::ondemand::parser parser;
    const simdjson::padded_string json(payload());
    const std::vector<PlainObservation> fast = decodeWithSimdjsonOnDemand(parser, json);
    const std::vector<PlainObservation> peer = decodeWithNlohmann(payload());
    if (fast.size() != kObservations) fail("simdjson decoded the wrong number of observations");
    if (fast != peer) fail("simdjson and nlohmann-json decoded different observations");
    return true;
  }();
  (void)checked;
}

void BM_Anchor_SimdjsonOnDemandToStructs(benchmark::State& state) {
  checkAnchorsAgree();
  const simdjson::padded_string json(payload());
  simdjson::ondemand::parser parser;  // reused across replies, as a client would
  for (auto _ : state) {
    std::vector<PlainObservation> observations = decodeWithSimdjsonOnDemand(parser, json);
    benchmark::DoNotOptimize(observations.data());
  }
  setCounts(state);
}
BENCHMARK(BM_Anchor_SimdjsonOnDemandToStructs)->Unit(benchmark::kMicrosecond);

void BM_Anchor_NlohmannToStructs(benchmark::State& state) {
  checkAnchorsAgree();
  const std::string& json = payload();
  for (auto _ : state) {
    std::vector<PlainObservation> observations = decodeWithNlohmann(json);
    benchmark::DoNotOptimize(observations.data());
  }
  setCounts(state);
}
BENCHMARK(BM_Anchor_NlohmannToStructs)->Unit(benchmark::kMicrosecond);

// ---- OvrinCore mapping ----------------------------------------------------------------------
// The same bytes read into dynamic values, each observation validated against the worked
// model tables and mapped into an Observation with its place, profile, measurements and
// periods (examples/Models), as an endpoint's mapping operation does.

OVNPropertyMapperRef registeredMapper() {
  auto mapper = makeWeatherMapper();
  if (!mapper) fail("the worked model tables did not register");
  return mapper;
}

std::vector<std::shared_ptr<Observation>> mapReply(const std::string& json, OVNPropertyMapper& mapper) {
  OVNDictionaryRef envelope = OVNJSONSerialization::JSONObjectWithData(json).dictionary();
  OVNArrayRef response = envelope ? envelope->objectForKey("response").array() : nullptr;
  if (!response) fail("the reply did not read");
  std::vector<std::shared_ptr<Observation>> observations;
  observations.reserve(response->count());
  for (const OVNValue& element : *response) observations.push_back(mapper.createObjectWithClass<Observation>(element));
  return observations;
}

const std::vector<std::shared_ptr<Observation>>& mappedObservations(OVNPropertyMapper& mapper) {
  static const std::vector<std::shared_ptr<Observation>> observations = [&] {
    auto mapped = mapReply(payload(), mapper);
    // The mapping must agree with the anchors, or the figures would compare different work.
    const std::vector<PlainObservation> expected = decodeWithNlohmann(payload());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (!mapped[i]) fail("an observation failed to map");
      if (mapped[i]->stationId != expected[i].id || mapped[i]->longitude != expected[i].longitude ||
          mapped[i]->measurements->humidity != expected[i].ob.humidity ||
          mapped[i]->periods.size() != expected[i].periods.size() ||
          mapped[i]->observedAt.timeIntervalSince1970() != static_cast<double>(expected[i].obTimestamp))
        fail("the mapped observations differ from the anchors'");
    }
    return mapped;
  }();
  return observations;
}

void BM_OVNMapObservations(benchmark::State& state) {
  auto mapper = registeredMapper();
  mappedObservations(*mapper);
  for (auto _ : state) {
    auto observations = mapReply(payload(), *mapper);
    benchmark::DoNotOptimize(observations.data());
  }
  setCounts(state);
}
BENCHMARK(BM_OVNMapObservations)->Unit(benchmark::kMicrosecond);

// Model objects back into dictionaries (what a cache or an upload would write).
void BM_OVNSerializeObservations(benchmark::State& state) {
  auto mapper = registeredMapper();
  const auto& observations = mappedObservations(*mapper);
  for (auto _ : state) {
    for (const auto& observation : observations) benchmark::DoNotOptimize(mapper->serializeObject(observation));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * observations.size()));
}
BENCHMARK(BM_OVNSerializeObservations)->Unit(benchmark::kMicrosecond);

// One observation (six model objects) through a secure keyed archive and back.
void BM_OVNArchiveObservation(benchmark::State& state) {
  auto mapper = registeredMapper();
  const auto& observation = mappedObservations(*mapper).front();
  for (auto _ : state) {
    OVNDataRef data = OVNKeyedArchiver::archivedDataWithRootObject(observation, true, nullptr);
    if (!data) fail("archiving failed");
    benchmark::DoNotOptimize(OVNKeyedUnarchiver::unarchivedObjectOfClass(Observation::classObject(), *data, nullptr));
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(BM_OVNArchiveObservation)->Unit(benchmark::kMicrosecond);

}  // namespace
