// JSON reading into OVNValue beside simdjson's own DOM parse of the same bytes, and
// writing the value back as compact JSON. Run by scripts/run-benchmarks.sh.
#include <benchmark/benchmark.h>
#include <simdjson.h>

#include "ObservationPayload.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNData.h"

namespace {

const std::string& payload() {
  static const std::string json = makeObservationEnvelope(2000);
  return json;
}

void setBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
  state.counters["KB"] = static_cast<double>(bytes) / 1024.0;
}

// The anchor: simdjson's DOM parse of the same bytes (a reused parser, as ours is).
void BM_SimdjsonDOMParse(benchmark::State& state) {
  const std::string& json = payload();
  simdjson::dom::parser parser;
  for (auto _ : state) {
    simdjson::dom::element root;
    if (parser.parse(json.data(), json.size()).get(root)) state.SkipWithError("parse failed");
    benchmark::DoNotOptimize(root);
  }
  setBytes(state, json.size());
}
BENCHMARK(BM_SimdjsonDOMParse)->Unit(benchmark::kMicrosecond);

void BM_OVNJSONRead(benchmark::State& state) {
  const std::string& json = payload();
  for (auto _ : state) {
    OVNValue value = OVNJSONSerialization::JSONObjectWithData(json);
    if (!value.isDictionary()) state.SkipWithError("read failed");
    benchmark::DoNotOptimize(value);
  }
  setBytes(state, json.size());
}
BENCHMARK(BM_OVNJSONRead)->Unit(benchmark::kMicrosecond);

void BM_OVNJSONWriteCompact(benchmark::State& state) {
  const OVNValue value = OVNJSONSerialization::JSONObjectWithData(payload());
  std::size_t written = 0;
  for (auto _ : state) {
    OVNDataRef data = OVNJSONSerialization::dataWithJSONObject(value);
    written = data->length();
    benchmark::DoNotOptimize(data);
  }
  setBytes(state, written);
}
BENCHMARK(BM_OVNJSONWriteCompact)->Unit(benchmark::kMicrosecond);

}  // namespace
