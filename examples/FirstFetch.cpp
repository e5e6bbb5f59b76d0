// The README's first typed fetch, compiled and run by the build so that it stays true. The
// local weather service stands in for the real one; the ten lines between the markers are
// the README's.
#include <cstdio>
#include <string>

#include "LocalWeatherService.h"
#include "OVNApiClient.h"
#include "OVNApiEndpoint.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Values/OVNArray.h"
#include "WeatherMappings.h"

int main() {
  LocalWeatherService service;
  service.start();
  const std::string serviceURL = service.baseURL();
  // README: first typed fetch
  OVNApiClient::configureWithClientID("demo-client", "demo-secret");
  auto client = OVNApiClient::sharedClient();
  client->setBaseURL(OVNURL::URLWithString(serviceURL));
  (void)registerWeatherMappings(*client->mapper());
  auto observations = OVNApiEndpoint::initWithPath("observations/austin,tx", Observation::classObject());
  OVNArrayRef mapped;
  observations->getWithOptions(OVNValue(), [&](const OVNApiEndpointResultRef& result) { mapped = result->value(); });
  if (OVNRunLoop::main().runUntil([&] { return mapped != nullptr; }, 10)) {
    for (const auto& object : *mapped) std::printf("%s\n", object.objectAs<Observation>()->stationId.c_str());
  }
  // README: end
  return mapped && mapped->count() == 1 ? 0 : 1;
}
