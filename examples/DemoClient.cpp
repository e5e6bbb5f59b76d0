#include "DemoClient.h"

#include <cstdio>

#include "Categories/NSDate+OvrinCore.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNProperties.h"
#include "WeatherMappings.h"

namespace {

constexpr double waitSeconds = 10.0;

// Where the application's service runs; here, the local one the current part started.
std::string serviceURL;

}  // namespace

OVN_PROPERTIES(DemoClient)
OVN_PROPERTIES(DemoEndpoint)

std::optional<std::string> DemoClient::serverPath() { return serviceURL; }

void DemoClient::setupMappings() { (void)registerWeatherMappings(*mapper()); }

void connectDemoClient(const LocalWeatherService& service) {
  serviceURL = service.baseURL();
  const LocalWeatherService::Options accepted;
  OVNApiClient::configureWithClientID<DemoClient>(accepted.clientId, accepted.clientSecret);
  OVNApiClient::sharedClient<DemoClient>()->setBaseURL(OVNURL::URLWithString(serviceURL));
}

OVNApiEndpointResultRef fetchObjects(const std::shared_ptr<DemoEndpoint>& endpoint, const OVNValue& options) {
  OVNApiEndpointResultRef delivered;
  endpoint->getWithOptions(options, [&](const OVNApiEndpointResultRef& result) { delivered = result; });
  OVNRunLoop::main().runUntil([&] { return delivered != nullptr; }, waitSeconds);
  return delivered;
}

std::string observedWhen(const Observation& observation) {
  return ovn_formattedDateWithFormat(observation.observedDateTime, "HH:mm zzz", observation.stationTimeZone()) + ", " +
         ovn_timeAgoSinceNow(observation.observedDateTime);
}

void printObservation(const Observation& observation) {
  const auto& ob = observation.measurements;
  std::printf("  %-6s %-14s %5.1f °C  %-16s humidity %3.0f%%  at %s\n", observation.stationId.c_str(),
              (observation.place ? observation.place->name + ", " + observation.place->state : "?").c_str(),
              ob ? ob->tempC : 0.0, ob ? ob->weather.c_str() : "", ob ? ob->humidity : 0.0,
              observedWhen(observation).c_str());
}
