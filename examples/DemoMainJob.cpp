// The demonstration's first part: the library's main job, end to end. A client class with
// its credentials and server path, endpoints for the service's resource families, typed
// objects on the main queue; a write, a service error and a cancelled request.
#include "DemoMainJob.h"

#include <cstdio>
#include <string>

#include "LocalWeatherService.h"
#include "OVNApiClient.h"
#include "OVNApiEndpoint.h"
#include "OVNWritableApiEndpoint.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "WeatherMappings.h"

namespace {

constexpr double waitSeconds = 10.0;

// Where the application's service runs; here, the local one started below.
std::string serviceURL;

// The application's client: its server, its models.
class DemoClient : public OVNApiClient {
  OVN_CLASS(DemoClient, OVNApiClient)

 public:
  static std::optional<std::string> serverPath() { return serviceURL; }
  void setupMappings() override { (void)registerWeatherMappings(*mapper()); }
};

// The application's endpoints go through its client.
class DemoEndpoint : public OVNWritableApiEndpoint {
  OVN_CLASS(DemoEndpoint, OVNWritableApiEndpoint)

 public:
  std::shared_ptr<OVNApiClient> sharedClient() const override { return OVNApiClient::sharedClient<DemoClient>(); }
};

OVNApiEndpointResultRef fetch(const std::shared_ptr<DemoEndpoint>& endpoint, const OVNValue& options) {
  OVNApiEndpointResultRef delivered;
  endpoint->getWithOptions(options, [&](const OVNApiEndpointResultRef& result) { delivered = result; });
  OVNRunLoop::main().runUntil([&] { return delivered != nullptr; }, waitSeconds);
  return delivered;
}

void printObservation(const Observation& observation) {
  const auto& ob = observation.measurements;
  std::printf("  %-6s %-14s %5.1f °C  %-16s humidity %3.0f%%  at %s\n", observation.stationId.c_str(),
              (observation.place ? observation.place->name + ", " + observation.place->state : "?").c_str(),
              ob ? ob->tempC : 0.0, ob ? ob->weather.c_str() : "", ob ? ob->humidity : 0.0,
              observation.observedAtISO.c_str());
}

bool printObservations(const OVNApiEndpointResultRef& result) {
  if (!result || !result->value()) {
    std::printf("  no objects: %s\n", result && result->error() ? result->error()->description().c_str() : "no reply");
    return false;
  }
  for (const auto& member : *result->value()) {
    if (auto observation = member.objectAs<Observation>()) printObservation(*observation);
  }
  return true;
}

}  // namespace

OVN_PROPERTIES(DemoClient)
OVN_PROPERTIES(DemoEndpoint)

bool demonstrateMainJob() {
  LocalWeatherService service;
  service.start();
  serviceURL = service.baseURL();
  const LocalWeatherService::Options accepted;
  std::printf("  the local weather service listens on %s\n", serviceURL.c_str());

  OVNApiClient::configureWithClientID<DemoClient>(accepted.clientId, accepted.clientSecret);
  auto observations = OVNApiEndpoint::initWithPath<DemoEndpoint>("observations", Observation::classObject());

  std::printf("  observations/austin,tx:\n");
  const bool byPlace = printObservations(fetch(observations, OVNDictionary::make({{"action", "austin,tx"}})));
  std::printf("  the three stations closest to 40.7,-74.0:\n");
  const bool closest = printObservations(
      fetch(observations, OVNDictionary::make({{"action", "closest"}, {"p", "40.7,-74.0"}, {"limit", 3}})));

  std::printf("  a place written back with PUT to stations:\n");
  auto stations = OVNApiEndpoint::initWithPath<DemoEndpoint>("stations", Place::classObject());
  auto place = OVNMake<Place>();
  place->name = "zilker park";
  place->state = "tx";
  place->country = "us";
  OVNApiEndpointResultRef written;
  stations->postObject(place, OVNValue(), [&](const OVNApiEndpointResultRef& result) { written = result; });
  OVNRunLoop::main().runUntil([&] { return written != nullptr; }, waitSeconds);
  const bool wrote = written && written->value() && written->value()->count() == 1;
  auto stored = wrote ? (*written->value())[0].objectAs<Place>() : nullptr;
  const std::string readBack = stored ? stored->name + ", " + stored->state + ", " + stored->country : "";
  std::printf("  %s\n", stored ? ("stored, and read back as " + readBack).c_str() : "not stored");

  std::printf("  a place the service does not know, observations/atlantis:\n");
  auto unknown = fetch(OVNApiEndpoint::initWithPath<DemoEndpoint>("observations/atlantis", Observation::classObject()),
                       OVNValue());
  const bool refused = unknown && !unknown->value() && unknown->error();
  std::printf("  error %lld: %s\n", refused ? static_cast<long long>(unknown->error()->code()) : 0LL,
              refused ? unknown->error()->localizedDescription().c_str() : "(none)");

  std::printf("  a slow request, cancelled:\n");
  service.setSlowDelay(0.5);
  const auto answered = service.requestCount();
  bool called = false;
  observations->getWithOptions(OVNDictionary::make({{"action", "austin,tx"}, {"fault", "slow"}}),
                               [&](const OVNApiEndpointResultRef&) { called = true; });
  observations->cancel();
  // Once the service has answered it, and one more request has come back, its completion
  // would have run.
  OVNRunLoop::main().runUntil([&] { return service.requestCount() > answered; }, waitSeconds);
  fetch(OVNApiEndpoint::initWithPath<DemoEndpoint>("places/austin", Place::classObject()), OVNValue());
  std::printf("  completion called: %s, still loading: %s\n", called ? "yes" : "no",
              observations->isLoading() ? "yes" : "no");
  service.stop();
  return byPlace && closest && wrote && refused && !called;
}
