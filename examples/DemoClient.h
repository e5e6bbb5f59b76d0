#pragma once
// The application's client class and endpoints for the local weather service, shared by
// the demonstration's parts that fetch typed objects.

#include <memory>
#include <optional>
#include <string>

#include "LocalWeatherService.h"
#include "OVNApiClient.h"
#include "OVNApiEndpointResult.h"
#include "OVNWritableApiEndpoint.h"
#include "Observation.h"

// The application's client: its server, its models.
class DemoClient : public OVNApiClient {
  OVN_CLASS(DemoClient, OVNApiClient)

 public:
  static std::optional<std::string> serverPath();
  void setupMappings() override;
};

// The application's endpoints go through its client.
class DemoEndpoint : public OVNWritableApiEndpoint {
  OVN_CLASS(DemoEndpoint, OVNWritableApiEndpoint)

 public:
  std::shared_ptr<OVNApiClient> sharedClient() const override { return OVNApiClient::sharedClient<DemoClient>(); }
};

//! Gives the client class the credentials `service` accepts and points it (and its shared
//! instance, which outlives each part's service) at `service`.
void connectDemoClient(const LocalWeatherService& service);
//! GETs `endpoint` and runs the main run loop until the result is delivered; null when it
//! never was.
OVNApiEndpointResultRef fetchObjects(const std::shared_ptr<DemoEndpoint>& endpoint, const OVNValue& options);
//! When it was observed, as a weather display says it: "10:20 CST, 15 minutes ago".
std::string observedWhen(const Observation& observation);
//! One line: station, place, temperature, weather, humidity and time.
void printObservation(const Observation& observation);
