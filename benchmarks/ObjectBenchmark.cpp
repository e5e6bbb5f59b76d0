// Key-value coding, object creation and observation costs of the object model.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Objects/OVNProperties.h"

namespace {

class BenchStation : public OVNObject {
  OVN_CLASS(BenchStation, OVNObject)
 public:
  std::int64_t count = 0;
  std::optional<std::string> name;
  double temperature = 0;
};

class BenchObserver : public OVNObject {
 public:
  std::int64_t seen = 0;
  void observeValueForKeyPath(const std::string&, const OVNObjectRef&, const OVNDictionaryRef&, void*) override {
    ++seen;
  }
};

// Members of the model: what a plain struct with the same members would take.
struct BenchMembers {
  std::int64_t count;
  std::optional<std::string> name;
  double temperature;
};

void DirectMemberGet(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  station->count = 7;
  for (auto _ : state) {
    benchmark::DoNotOptimize(station.get());
    benchmark::DoNotOptimize(station->count);
  }
}
BENCHMARK(DirectMemberGet);

void KVCGetScalar(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  station->count = 7;
  for (auto _ : state) benchmark::DoNotOptimize(station->valueForKey("count"));
}
BENCHMARK(KVCGetScalar);

void KVCSetScalar(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  std::int64_t i = 0;
  for (auto _ : state) station->setValue(++i, "count");
  benchmark::DoNotOptimize(station->count);
}
BENCHMARK(KVCSetScalar);

void KVCGetString(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  station->name = "Camp Mabry";  // fits the short-string buffer, as most names do
  for (auto _ : state) benchmark::DoNotOptimize(station->valueForKey("name"));
}
BENCHMARK(KVCGetString);

void KVCSetString(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  const OVNValue value("Camp Mabry");
  for (auto _ : state) station->setValue(value, "name");
  benchmark::DoNotOptimize(station->name);
}
BENCHMARK(KVCSetString);

void CreateThroughRegistry(benchmark::State& state) {
  const OVNClass* cls = OVNClass::named("BenchStation");
  for (auto _ : state) {
    for (int i = 0; i < 100000; ++i) benchmark::DoNotOptimize(cls->createInstance());
  }
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(CreateThroughRegistry)->Unit(benchmark::kMillisecond);

void ObservationRoundTrip(benchmark::State& state) {
  auto station = OVNMake<BenchStation>();
  auto observer = OVNMake<BenchObserver>();
  station->addObserver(*observer, "count", OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld, nullptr);
  std::int64_t i = 0;
  for (auto _ : state) station->setValue(++i, "count");
  station->removeObserver(*observer, "count");
  state.counters["notifications"] = static_cast<double>(observer->seen);
}
BENCHMARK(ObservationRoundTrip);

void ObjectFootprint(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(sizeof(BenchStation));
  state.counters["object_bytes"] = sizeof(BenchStation);
  state.counters["member_bytes"] = sizeof(BenchMembers);
  state.counters["header_bytes"] = sizeof(OVNObject);
}
BENCHMARK(ObjectFootprint)->Iterations(1);

}  // namespace

OVN_PROPERTIES(BenchStation, count, name, temperature)
