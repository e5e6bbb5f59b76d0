// The demonstration's first part: the library's main job, end to end. A client class with
// its credentials and server path, endpoints for the service's resource families, typed
// objects on the main queue; a write, a service error and a cancelled request.
#include "DemoMainJob.h"

#include <cstdio>
#include <string>

#include "Categories/NSDate+OvrinCore.h"
#include "DemoClient.h"
#include "LocalWeatherService.h"
#include "OVNApiEndpoint.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"

namespace {

constexpr double waitSeconds = 10.0;

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

// "Tonight  21:00  12.3 °C": the period's day as a forecast names it, and the station's clock.
bool printForecast(const OVNApiEndpointResultRef& result) {
  constexpr std::size_t everyThirdHour = 3;
  auto station = result && result->value() && result->value()->count() > 0
                     ? (*result->value())[0].objectAs<Observation>()
                     : nullptr;
  if (!station || station->periods.empty()) {
    std::printf("  no forecast\n");
    return false;
  }
  // "Today" and "Tonight" follow the default zone: the station's, while its forecast is shown.
  const auto zone = station->stationTimeZone();
  OVNTimeZone::setDefaultTimeZone(zone);
  for (std::size_t i = 0; i < station->periods.size(); i += everyThirdHour) {
    const auto& period = *station->periods[i];
    std::printf("    %-15s %s  %5.1f °C\n", ovn_dayNameRelativeToNow(period.validAt, false, zone).c_str(),
                ovn_formattedDateWithFormat(period.validAt, "HH:mm", zone).c_str(), period.tempC);
  }
  OVNTimeZone::setDefaultTimeZone(nullptr);
  return true;
}

}  // namespace

bool demonstrateMainJob() {
  LocalWeatherService service;
  service.start();
  std::printf("  the local weather service listens on %s\n", service.baseURL().c_str());

  connectDemoClient(service);
  auto observations = OVNApiEndpoint::initWithPath<DemoEndpoint>("observations", Observation::classObject());

  std::printf("  observations/austin,tx:\n");
  const bool byPlace = printObservations(fetchObjects(observations, OVNDictionary::make({{"action", "austin,tx"}})));
  std::printf("  the three stations closest to 40.7,-74.0:\n");
  const bool closest = printObservations(
      fetchObjects(observations, OVNDictionary::make({{"action", "closest"}, {"p", "40.7,-74.0"}, {"limit", 3}})));

  std::printf("  the forecast for austin,tx, every third hour, named as a weather display names it:\n");
  const bool forecast =
      printForecast(fetchObjects(OVNApiEndpoint::initWithPath<DemoEndpoint>("forecasts", Observation::classObject()),
                                 OVNDictionary::make({{"action", "austin,tx"}})));

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
  auto unknown = fetchObjects(
      OVNApiEndpoint::initWithPath<DemoEndpoint>("observations/atlantis", Observation::classObject()), OVNValue());
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
  fetchObjects(OVNApiEndpoint::initWithPath<DemoEndpoint>("places/austin", Place::classObject()), OVNValue());
  std::printf("  completion called: %s, still loading: %s\n", called ? "yes" : "no",
              observations->isLoading() ? "yes" : "no");
  service.stop();
  return byPlace && closest && forecast && wrote && refused && !called;
}
