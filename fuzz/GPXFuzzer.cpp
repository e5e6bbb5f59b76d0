// Reads arbitrary bytes as a GPX track for the simulated location provider. Checks: a
// document either loads into a track or says why not, never both; every loaded point has a
// valid coordinate and a delay that is a finite, non-negative number of seconds.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Platform/Location/OVNSimulatedLocationProvider.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view gpx(reinterpret_cast<const char*>(bytes), size);
  const auto provider = OVNSimulatedLocationProvider::withGPXData(gpx);
  if (provider->loadError() ? !provider->track().empty() : provider->track().empty()) std::abort();
  for (const auto& step : provider->track()) {
    if (!OVNLocationCoordinate2DIsValid(step.fix.coordinate)) std::abort();
    if (!std::isfinite(step.delay) || step.delay < 0) std::abort();
  }
  return 0;
}
