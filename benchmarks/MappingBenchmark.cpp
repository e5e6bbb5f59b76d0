// Decoding a service reply of 2,000 observations (about 1.2 MB) into objects, three ways in
// one program over the same bytes: the library's own mapping, and two anchors that decode
// into plain structs (ObservationStructs.h): simdjson On-Demand by hand, the fastest honest
// limit, and nlohmann-json with `from_json`, the popular peer. Items are observations.
// Run by scripts/run-benchmarks.sh.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "ObservationPayload.h"
#include "ObservationStructs.h"

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
// The library's own case goes here: parse + validate + map the same payload() into model
// objects, named BM_OVNMapObservations, with setCounts(state) so its figures line up with
// the anchors above.

}  // namespace
