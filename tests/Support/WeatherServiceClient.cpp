#include "Support/WeatherServiceClient.h"

#include <stdexcept>

#include "Networking/OVNRequest.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyDescriptor.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "WeatherMappings.h"

OVN_PROPERTIES(Station, stationId, name, elevation)
OVN_PROPERTIES(WeatherServiceClient)
OVN_PROPERTIES(WeatherServiceEndpoint)

namespace {

constexpr double waitSeconds = 20.0;

}  // namespace

OVNValue Station::identifier() const { return stationId ? OVNValue(*stationId) : OVNValue(); }

LocalWeatherService& WeatherServiceClient::service() {
  static LocalWeatherService* running = [] {
    auto* made = new LocalWeatherService;  // lives for the program: the shared client keeps its URL
    made->start();
    OVNApiClient::configureWithClientID<WeatherServiceClient>(LocalWeatherService::Options().clientId,
                                                              LocalWeatherService::Options().clientSecret);
    return made;
  }();
  return *running;
}

void WeatherServiceClient::setupMappings() {
  auto table = OVNDictionary::make({{"id", OVNPropertyDescriptor::initWithPropertyName("stationId")},
                                    {"name", OVNPropertyDescriptor::initWithPropertyName("name")},
                                    {"elevation", OVNPropertyDescriptor::initWithPropertyName("elevation")}});
  if (!registerWeatherMappings(*mapper()) || !mapper()->setMappings(table, Station::classObject(), nullptr)) {
    throw std::logic_error("the test models' mappings do not fit their classes");
  }
}

std::shared_ptr<OVNApiClient> WeatherServiceEndpoint::sharedClient() const {
  return OVNApiClient::sharedClient<WeatherServiceClient>();
}

std::shared_ptr<OVNApiResponse> fetchAndWait(OVNApiClient& client, const std::string& path, const OVNValue& parameters,
                                             OVNRequestMethod method) {
  std::shared_ptr<OVNApiResponse> received;
  client.request(path, method, parameters,
                 [&](const std::shared_ptr<OVNApiResponse>& response) { received = response; });
  OVNRunLoop::main().runUntil([&] { return received != nullptr; }, waitSeconds);
  return received;
}
