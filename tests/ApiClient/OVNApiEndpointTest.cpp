// Endpoints end to end: fetch, map, deliver, write, cancel, against the local weather service.
#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <string>
#include <vector>

#include "Logging/OVNLogger.h"
#include "OVNApiEndpoint.h"
#include "OVNApiRequestOptions.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNBlockOperation.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/WeatherServiceClient.h"

namespace {

constexpr double waitSeconds = 20.0;

std::shared_ptr<WeatherServiceEndpoint> endpoint(const std::string& path, const OVNClass& objectClass) {
  return OVNApiEndpoint::initWithPath<WeatherServiceEndpoint>(path, objectClass);
}

// Collects what a completion delivered, and runs the main loop until it did.
struct Delivered {
  OVNApiEndpointResultRef result;
  int calls = 0;
  OVNApiEndpoint::Completion completion() {
    return [this](const OVNApiEndpointResultRef& delivered) {
      result = delivered;
      ++calls;
    };
  }
  OVNApiEndpointResultRef wait() {
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return result != nullptr; }, waitSeconds));
    return result;
  }
};

template <class Model>
std::shared_ptr<Model> objectAt(const OVNApiEndpointResultRef& result, std::size_t index) {
  return (*result->value())[index].objectAs<Model>();
}

// A request that any earlier delivery would have come before.
void roundTrip() { fetchAndWait(*OVNApiClient::sharedClient<WeatherServiceClient>(), "places/austin"); }

}  // namespace

TEST(OVNApiEndpointTest, FetchesAndMapsEachResourceFamily) {
  auto actionOnly = OVNApiRequestOptions::options();
  actionOnly->setAction("austin,tx");
  struct Case {
    const char* name;
    std::string path;
    OVNValue options;
    const OVNClass& objectClass;
    std::size_t count;
    std::function<void(const OVNApiEndpointResultRef&)> check;
  };
  const std::vector<Case> cases{
      {"by place", "observations/paris,fr", OVNValue(), Observation::classObject(), 1,
       [](const auto& result) {
         EXPECT_EQ(objectAt<Observation>(result, 0)->place->name, "paris");
         EXPECT_TRUE(objectAt<Observation>(result, 0)->measurements);
       }},
      {"action as options object", "observations", OVNValue(actionOnly), Observation::classObject(), 1,
       [](const auto& result) { EXPECT_EQ(objectAt<Observation>(result, 0)->place->name, "austin"); }},
      {"closest by action", "observations",
       OVNDictionary::make({{"action", "closest"}, {"p", "30.18,-97.68"}, {"limit", 3}}), Observation::classObject(), 3,
       [](const auto& result) { EXPECT_EQ(objectAt<Observation>(result, 0)->stationId, "KAUS"); }},
      {"forecast", "forecasts/tokyo,jp", OVNValue(), Observation::classObject(), 1,
       [](const auto& result) { EXPECT_EQ(objectAt<Observation>(result, 0)->periods.size(), 24u); }},
      {"places", "places/search", OVNDictionary::make({{"query", "san"}, {"limit", 3}}), Place::classObject(), 3,
       [](const auto& result) { EXPECT_TRUE(objectAt<Place>(result, 2)->name.starts_with("san")); }},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto family = endpoint(c.path, c.objectClass);
    Delivered delivered;
    family->getWithOptions(c.options, delivered.completion());
    EXPECT_TRUE(family->isLoading());
    auto result = delivered.wait();
    ASSERT_TRUE(result && result->value()) << (result && result->error() ? result->error()->description() : "");
    EXPECT_EQ(result->error(), nullptr);
    ASSERT_EQ(result->value()->count(), c.count);
    c.check(result);
    EXPECT_TRUE(family->hasLoaded());
    EXPECT_FALSE(family->isLoading());
  }

  Delivered unknown;  // a failed envelope: no value, the service's error
  endpoint("observations/atlantis", Observation::classObject())->getWithOptions(OVNValue(), unknown.completion());
  ASSERT_TRUE(unknown.wait());
  EXPECT_EQ(unknown.result->value(), nullptr);
  ASSERT_TRUE(unknown.result->error());
  EXPECT_EQ(unknown.result->error()->domain(), OVNApiErrorDomain);
}

TEST(OVNApiEndpointTest, WritesStationsAndTakesOverWhatTheServiceMadeOfThem) {
  auto stations = endpoint("stations", Station::classObject());
  auto station = OVNMake<Station>();
  station->name = "Zilker Park";
  station->elevation = 150;
  Delivered created;
  stations->postObject(station, OVNValue(), created.completion());
  ASSERT_TRUE(created.wait() && created.result->value());
  ASSERT_TRUE(station->stationId);  // taken over from the reply

  station->name = "Zilker Park West";
  Delivered updated;
  stations->putObject(station, OVNValue(), updated.completion());  // to stations/<id>
  ASSERT_TRUE(updated.wait() && updated.result->value());
  Delivered read;
  stations->getForId(*station->stationId, OVNValue(), read.completion());
  ASSERT_TRUE(read.wait() && read.result->value());
  EXPECT_EQ(objectAt<Station>(read.result, 0)->name, "Zilker Park West");
  EXPECT_EQ(objectAt<Station>(read.result, 0)->elevation, 150);

  Delivered removed;
  stations->deleteObjectWithIdentifer(*station->stationId, OVNValue(), removed.completion());
  ASSERT_TRUE(removed.wait());
  EXPECT_EQ(removed.result->error(), nullptr);
  Delivered gone;
  stations->getForId(*station->stationId, OVNValue(), gone.completion());
  ASSERT_TRUE(gone.wait() && gone.result->error());
  EXPECT_EQ(gone.result->error()->code(), OVNApiErrorCodeObjectNotExists);
}

TEST(OVNApiEndpointTest, IdentifiersBecomePathSegments) {
  auto stations = endpoint("stations", Station::classObject());
  OVNLogger::logger()->setLogLevel(OVNLogLevelInfo);
  ConsoleCapture console;
  for (const OVNValue& identifier : {OVNValue(12), OVNValue("KAUS"), OVNValue(std::int64_t{4294967297})}) {
    Delivered delivered;
    stations->getForId(identifier, OVNValue(), delivered.completion());
    delivered.wait();
  }
  OVNLogger::logger()->setLogLevel(OVNLogLevelWarn);
  std::vector<std::string> resources;
  for (const auto& line : console.lines()) {
    const auto start = line.find("/stations/");
    if (start != std::string::npos) resources.push_back(line.substr(start, line.find('?') - start));
  }
  EXPECT_EQ(resources, (std::vector<std::string>{"/stations/12", "/stations/KAUS", "/stations/1"}));
}

TEST(OVNApiEndpointTest, TheFirstReplyEndsLoadingAndResetForgetsIt) {
  WeatherServiceClient::service().setSlowDelay(0.3);
  auto observations = endpoint("observations/austin,tx", Observation::classObject());
  Delivered slow, fast;
  observations->getWithOptions(OVNDictionary::make({{"fault", "slow"}}), slow.completion());
  observations->getWithOptions(OVNValue(), fast.completion());
  EXPECT_EQ(observations->cachedOperations().size(), 2u);
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return fast.result || slow.result; }, waitSeconds));
  EXPECT_FALSE(observations->isLoading());  // although one request still runs
  EXPECT_TRUE(observations->hasLoaded());
  ASSERT_TRUE(slow.wait() && fast.wait());
  observations->reset();
  EXPECT_FALSE(observations->hasLoaded());
  EXPECT_TRUE(observations->cachedOperations().empty());
}

TEST(OVNApiEndpointTest, CancelDeliversNothingWhateverStageTheWorkIsIn) {
  auto& service = WeatherServiceClient::service();
  service.setSlowDelay(0.3);
  const auto answeredBefore = service.requestCount();
  auto observations = endpoint("observations/austin,tx", Observation::classObject());

  Delivered inFlight;  // cancelled while the request runs
  observations->getWithOptions(OVNDictionary::make({{"fault", "slow"}}), inFlight.completion());
  observations->cancel();
  EXPECT_FALSE(observations->isLoading());
  EXPECT_TRUE(observations->cachedOperations().empty());

  Delivered mapping;  // cancelled while its mapping waits behind another operation
  std::promise<void> release;
  auto held = release.get_future().share();
  observations->mappingOperationQueue()->setMaxConcurrentOperationCount(1);
  observations->mappingOperationQueue()->addOperation(
      OVNBlockOperation::blockOperationWithBlock([held] { held.wait(); }));
  observations->getWithOptions(OVNValue(), mapping.completion());
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return observations->hasLoaded(); }, waitSeconds));
  observations->cancel();
  release.set_value();

  Delivered orphaned;  // the endpoint goes away; its reply still arrives, safely
  auto shortLived = endpoint("observations/austin,tx", Observation::classObject());
  shortLived->getWithOptions(OVNValue(), orphaned.completion());
  shortLived.reset();
  ASSERT_TRUE(orphaned.wait());
  EXPECT_EQ(orphaned.result->value()->count(), 1u);

  // The two that were not cancelled in flight answered (the first may never have left),
  // and everything queued drained: nothing came for the cancelled ones.
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return service.requestCount() >= answeredBefore + 2; }, waitSeconds));
  roundTrip();
  observations->mappingOperationQueue()->waitUntilAllOperationsAreFinished();
  roundTrip();
  EXPECT_EQ(inFlight.calls + mapping.calls, 0);
}

TEST(OVNIsNonEmptyStringTest, OnlyTextWithContentCounts) {
  EXPECT_TRUE(OVNIsNonEmptyString(OVNValue("a")));
  for (const OVNValue& value : {OVNValue(""), OVNValue(), OVNValue::null(), OVNValue(1), OVNValue(OVNArray::make())}) {
    EXPECT_FALSE(OVNIsNonEmptyString(value)) << value.description();
  }
}
