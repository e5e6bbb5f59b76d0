#pragma once
// The API tests' client of the local weather service. One service runs for the whole test
// program, because a shared client keeps the base URL it was made with. The client's
// mapper knows the worked model set and Station, a flat model the writable "stations"
// family stores (the form bodies writes are sent in carry flat members only).

#include <memory>
#include <optional>
#include <string>

#include "LocalWeatherService.h"
#include "OVNApiClient.h"
#include "OVNApiObject.h"
#include "OVNApiResponse.h"
#include "OVNWritableApiEndpoint.h"

class Station : public OVNApiObject {
  OVN_CLASS(Station, OVNApiObject)

 public:
  std::optional<std::string> stationId;  // given by the service
  std::string name;
  double elevation = 0;
  //! The id once the service has given one; missing before.
  OVNValue identifier() const override;
};

class WeatherServiceClient : public OVNApiClient {
  OVN_CLASS(WeatherServiceClient, OVNApiClient)

 public:
  //! Started on first use, with its credentials configured for this class.
  static LocalWeatherService& service();
  static std::optional<std::string> serverPath() { return service().baseURL(); }
  void setupMappings() override;
};

//! An endpoint whose requests go through WeatherServiceClient's shared client.
class WeatherServiceEndpoint : public OVNWritableApiEndpoint {
  OVN_CLASS(WeatherServiceEndpoint, OVNWritableApiEndpoint)

 public:
  std::shared_ptr<OVNApiClient> sharedClient() const override;
};

//! Sends one request and runs the main run loop until its completion; null when none came.
std::shared_ptr<OVNApiResponse> fetchAndWait(OVNApiClient& client, const std::string& path,
                                             const OVNValue& parameters = OVNValue(),
                                             OVNRequestMethod method = OVNRequestMethodGET);
