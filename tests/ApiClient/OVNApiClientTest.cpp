// The request pipeline end to end, against the local weather service.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Logging/OVNLogger.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNURLCache.h"
#include "OVNApiClient.h"
#include "OVNApiResponse.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyMapper.h"
#include "Support/ConsoleCapture.h"
#include "Support/WeatherServiceClient.h"

// A client class nobody configured.
class UnconfiguredClient : public OVNApiClient {
  OVN_CLASS(UnconfiguredClient, OVNApiClient)
};
OVN_PROPERTIES(UnconfiguredClient)

namespace {

constexpr double waitSeconds = 20.0;

std::shared_ptr<WeatherServiceClient> client() { return OVNApiClient::sharedClient<WeatherServiceClient>(); }

std::string logLineFor(const std::string& path, const OVNValue& parameters = OVNValue()) {
  OVNLogger::logger()->setLogLevel(OVNLogLevelInfo);
  ConsoleCapture console;
  fetchAndWait(*client(), path, parameters);
  OVNLogger::logger()->setLogLevel(OVNLogLevelWarn);
  for (const auto& line : console.lines()) {
    if (line.find("url: ") != std::string::npos) return line;
  }
  return "";
}

}  // namespace

TEST(OVNApiClientTest, CredentialsBelongToTheClassAndAreReadAtEachRequest) {
  auto weather = client();
  EXPECT_TRUE(fetchAndWait(*weather, "observations/austin,tx")->isSuccessful());
  EXPECT_TRUE(fetchAndWait(*weather, "observations/austin,tx", OVNDictionary::make({{"client_id", "mine"}}))
                  ->isSuccessful());  // the configured value replaces the caller's

  // The base class's credentials are not the subclass's, and a subclass gets none from it.
  OVNApiClient::configureWithClientID<OVNApiClient>("base-id", "base-secret");
  EXPECT_TRUE(fetchAndWait(*weather, "observations/austin,tx")->isSuccessful());
  auto unconfigured = OVNApiClient::initWithBaseURL<UnconfiguredClient>(
      OVNURL::URLWithString(WeatherServiceClient::service().baseURL()));
  EXPECT_EQ(unconfigured->clientID(), std::nullopt);
  auto refused = fetchAndWait(*unconfigured, "observations/austin,tx");
  EXPECT_FALSE(refused->isSuccessful());
  ASSERT_TRUE(refused->error());
  EXPECT_EQ(refused->error()->code(), OVNApiErrorCodeInvalidClient);

  // A later configuration reaches the instance that exists; the interval changes nothing.
  OVNApiClient::configureWithClientID<WeatherServiceClient>("wrong", "wrong");
  EXPECT_EQ(fetchAndWait(*weather, "observations/austin,tx")->error()->code(), OVNApiErrorCodeInvalidClient);
  const LocalWeatherService::Options accepted;
  OVNApiClient::configureWithClientID<WeatherServiceClient>(accepted.clientId, accepted.clientSecret);
  std::shared_ptr<OVNApiResponse> later;
  weather->request("observations/austin,tx", OVNRequestMethodGET, 3600, OVNValue(),
                   [&](const auto& response) { later = response; });
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return later != nullptr; }, waitSeconds));
  EXPECT_TRUE(later->isSuccessful());
  EXPECT_EQ(later->response().array()->count(), 1u);
}

TEST(OVNApiClientTest, SharedClientsArePerClassAndSetUpByTheirClass) {
  auto weather = client();
  EXPECT_EQ(client(), weather);
  EXPECT_NE(std::static_pointer_cast<OVNApiClient>(weather), OVNApiClient::sharedClient());
  EXPECT_EQ(OVNApiClient::sharedClient()->baseURL(), nullptr);  // no server path
  EXPECT_EQ(weather->baseURL()->absoluteString(), WeatherServiceClient::service().baseURL());
  EXPECT_TRUE(weather->mapper()->mappingsForClass(Station::classObject()));  // setupMappings reached the subclass
  EXPECT_EQ(OVNHTTPCache::sharedURLCache(), OVNURLCache::sharedCache()->cache());
}

TEST(OVNApiClientTest, PathsAreEncodedThenResolvedAgainstTheBaseURL) {
  const std::string base = WeatherServiceClient::service().baseURL();
  const std::string line = logLineFor("observations/new york,ny", OVNDictionary::make({{"limit", 1}}));
  EXPECT_NE(line.find("url: " + base + "observations/new%20york,ny?"), std::string::npos) << line;
  EXPECT_NE(line.find("client_id = \"demo-client\""), std::string::npos) << line;
  EXPECT_NE(line.find("limit = 1"), std::string::npos) << line;

  // A leading slash replaces the base URL's path; without one, the path is appended.
  auto nested = OVNApiClient::initWithBaseURL<WeatherServiceClient>(OVNURL::URLWithString(base + "v1/"));
  OVNLogger::logger()->setLogLevel(OVNLogLevelInfo);
  ConsoleCapture console;
  fetchAndWait(*nested, "/observations/austin,tx");
  fetchAndWait(*nested, "observations/austin,tx");
  OVNLogger::logger()->setLogLevel(OVNLogLevelWarn);
  std::vector<std::string> urls;
  for (const auto& text : console.lines()) {
    if (text.find("url: ") != std::string::npos)
      urls.push_back(text.substr(text.find("url: ") + 5, text.find('?') - text.find("url: ") - 5));
  }
  EXPECT_EQ(urls, (std::vector<std::string>{base + "observations/austin,tx", base + "v1/observations/austin,tx"}));
}

TEST(OVNApiClientTest, EachKindOfFailureReachesTheCompletionOnceWithAnError) {
  struct Case {
    const char* fault;
    std::string domain;
    std::int64_t code;  // 0: any code
    bool logged;        // the failure stage's console line (transport failures only)
  };
  const std::vector<Case> cases{
      // Every reply with a body reaches the success stage: no serializer looks at the status.
      {"error", std::string(OVNApiErrorDomain), 0, false},
      {"500", std::string(OVNApiErrorDomain), 0, false},
      {"errorstring", std::string(OVNApiErrorDomain), 0, false},
      {"array", std::string(OVNApiErrorDomain), OVNApiErrorCodeInvalidResponse, false},
      {"scalar", std::string(OVNApiErrorDomain), OVNApiErrorCodeInvalidResponse, false},
      {"malformed", std::string(OVNApiErrorDomain), OVNApiErrorCodeInvalidResponse, false},
      {"html500", std::string(OVNApiErrorDomain), OVNApiErrorCodeInvalidResponse, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fault);
    ConsoleCapture console;
    int calls = 0;
    std::shared_ptr<OVNApiResponse> received;
    client()->request("observations/austin,tx", OVNRequestMethodGET, OVNDictionary::make({{"fault", c.fault}}),
                      [&](const auto& response) {
                        ++calls;
                        received = response;
                      });
    ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return received != nullptr; }, waitSeconds));
    fetchAndWait(*client(), "observations/austin,tx");  // anything more would have come by now
    EXPECT_EQ(calls, 1);
    EXPECT_FALSE(received->isSuccessful());
    EXPECT_FALSE(received->response().isPresent());
    ASSERT_TRUE(received->error());
    EXPECT_EQ(received->error()->domain(), c.domain);
    if (c.code) {
      EXPECT_EQ(received->error()->code(), c.code);
    }
    EXPECT_EQ(console.lines().size() == 1 && console.lines()[0].starts_with("**ERROR** request: "), c.logged);
  }

  // The discard port, which nothing on a test machine serves.
  auto unreachable = OVNApiClient::initWithBaseURL<WeatherServiceClient>(OVNURL::URLWithString("http://127.0.0.1:9/"));
  auto failed = fetchAndWait(*unreachable, "observations/austin,tx");
  ASSERT_TRUE(failed && failed->error());
  EXPECT_EQ(failed->error()->domain(), OVNURLErrorDomain);
  EXPECT_EQ(failed->error()->code(), OVNURLErrorCannotConnectToHost);
  EXPECT_TRUE(failed->error()->userInfo()->objectForKey(OVNURLErrorTransportReasonKey).string());
}

TEST(OVNApiClientTest, ACancelledRequestCallsNothing) {
  WeatherServiceClient::service().setSlowDelay(0.5);
  bool called = false;
  auto request = client()->request("observations/austin,tx", OVNRequestMethodGET,
                                   OVNDictionary::make({{"fault", "slow"}}), [&](const auto&) { called = true; });
  request->cancel();
  // The cancellation ends the task at once; its outcome reaches the main queue before the
  // reply to a request sent after it.
  fetchAndWait(*client(), "observations/austin,tx");
  EXPECT_TRUE(request->task()->error());
  EXPECT_FALSE(called);
}
