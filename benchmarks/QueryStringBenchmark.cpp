// URL-encoding and query strings: the helpers a request builds its query from.
#include <benchmark/benchmark.h>

#include "Categories/NSDictionary+OvrinCore.h"
#include "Categories/NSString+OvrinCore.h"

namespace {

// Ten parameters of the kinds a weather request carries.
OVNDictionaryRef tenParameters() {
  return OVNDictionary::make({{"client_id", OVNValue("a1b2c3d4e5f6")},
                              {"client_secret", OVNValue("s3cr3t/with+symbols=")},
                              {"p", OVNValue("austin, tx")},
                              {"limit", OVNValue(10)},
                              {"radius", OVNValue("50mi")},
                              {"filter", OVNValue("day,precise")},
                              {"fields", OVNValue("id,loc,ob.tempC,ob.weather")},
                              {"from", OVNValue("2026-11-21T00:00:00-06:00")},
                              {"to", OVNValue("+2days")},
                              {"query", OVNValue("name:Zürich;country:ch")}});
}

void BM_SerializeTenParameters(benchmark::State& state) {
  const OVNDictionaryRef parameters = tenParameters();
  for (auto _ : state) benchmark::DoNotOptimize(ovn_serializedString(*parameters));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SerializeTenParameters);

void BM_URLEncodeEachOfTenValues(benchmark::State& state) {
  const OVNDictionaryRef parameters = tenParameters();
  for (auto _ : state) {
    for (const auto& [key, value] : *parameters) benchmark::DoNotOptimize(ovn_URLEncodedString(value.description()));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_URLEncodeEachOfTenValues);

void BM_ParseTenParameterQuery(benchmark::State& state) {
  const std::string query = ovn_serializedString(*tenParameters());
  for (auto _ : state) benchmark::DoNotOptimize(ovn_dictionaryWithQueryString(query));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ParseTenParameterQuery);

}  // namespace
