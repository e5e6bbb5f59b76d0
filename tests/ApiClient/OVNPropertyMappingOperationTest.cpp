#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "OVNApiResponse.h"
#include "OVNPropertyMappingOperation.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"
#include "Support/ConsoleCapture.h"
#include "WeatherMappings.h"

namespace {

OVNValue json(std::string_view text) { return OVNJSONSerialization::JSONObjectWithData(text); }

const char* const kThreeObservations = R"([
  {"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.19, "long": -97.67}, "ob": {"tempC": 21.5, "humidity": 40}},
  {"id": "KATT", "dataSource": "MADIS", "loc": {"lat": 30.32, "long": -97.76}, "ob": {"tempC": 20.0, "humidity": 45}},
  {"id": "KEDC", "dataSource": "PWS", "loc": {"lat": 30.40, "long": -97.57}, "ob": {"tempC": 19.5, "humidity": 50}}
])";

// Calls a hook each time the mapper asks for an instance, then makes it as usual.
class HookedFactory : public OVNPropertyMapperSimpleModelFactory {
 public:
  std::function<void(const OVNClass&)> hook;
  OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) override {
    if (hook) hook(cls);
    return OVNPropertyMapperSimpleModelFactory::instanceForClass(cls, dictionary);
  }
};

struct Delivery {
  bool called = false;
  OVNArrayRef objects;
  bool onMainThread = false;
};

class OVNPropertyMappingOperationTest : public ::testing::Test {
 protected:
  OVNPropertyMappingOperationRef operationFor(const OVNValue& payload) {
    auto operation = OVNPropertyMappingOperation::initWithDictionary(payload, Observation::classObject(), mapper);
    operation->setMappingCompletionBlock([this](const OVNArrayRef& objects) {
      delivery.called = true;
      delivery.objects = objects;
      delivery.onMainThread = OVNDispatchQueue::isMainThread();
    });
    return operation;
  }

  // Runs the operation on a queue and drains the main queue until it delivered or a short
  // while after it finished without delivering.
  void runOnQueue(const OVNPropertyMappingOperationRef& operation) {
    queue.addOperation(operation);
    OVNRunLoop::main().runUntil([&] { return delivery.called || operation->isFinished(); }, 10);
    OVNRunLoop::main().drain();
  }

  std::shared_ptr<HookedFactory> factory = std::make_shared<HookedFactory>();
  OVNPropertyMapperRef mapper = [this] {
    auto m = OVNPropertyMapper::initWithModelFactory(factory);
    if (!registerWeatherMappings(*m)) ADD_FAILURE() << "the worked model tables do not fit their classes";
    return m;
  }();
  std::vector<std::string> deliveredIds() const {
    std::vector<std::string> ids;
    if (delivery.objects)
      for (const OVNValue& object : *delivery.objects) ids.push_back(object.objectAs<Observation>()->stationId);
    return ids;
  }

  OVNOperationQueue queue;
  Delivery delivery;
};

TEST_F(OVNPropertyMappingOperationTest, ArrayPayloadIsDeliveredInOrderOnTheMainQueue) {
  runOnQueue(operationFor(json(kThreeObservations)));
  ASSERT_TRUE(delivery.called);
  EXPECT_TRUE(delivery.onMainThread);
  EXPECT_EQ(deliveredIds(), (std::vector<std::string>{"KAUS", "KATT", "KEDC"}));
  EXPECT_DOUBLE_EQ(delivery.objects->at(2).objectAs<Observation>()->measurements->tempC, 19.5);
}

TEST_F(OVNPropertyMappingOperationTest, SingleObjectResponseAndNullPayloads) {
  auto envelope = json(R"({"success": true, "error": null,
                           "response": {"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.2, "long": -97.7}}})");
  auto response = OVNApiResponse::initWithJSONDictionary(envelope.dictionary());
  auto operation = OVNPropertyMappingOperation::initWithApiResponse(*response, Observation::classObject(), mapper);
  EXPECT_FALSE(operation->response()) << "the response itself is not kept";
  operation->setMappingCompletionBlock([this](const OVNArrayRef& objects) {
    delivery.called = true;
    delivery.objects = objects;
  });
  runOnQueue(operation);
  EXPECT_EQ(deliveredIds(), std::vector<std::string>{"KAUS"}) << "a single object is delivered as a list of one";

  for (const OVNValue& nullPayload : {OVNValue(), OVNValue::null()}) {
    delivery = {};
    runOnQueue(operationFor(nullPayload));
    EXPECT_TRUE(delivery.called);
    EXPECT_FALSE(delivery.objects) << "a null payload gives null, not an empty list";
  }
}

TEST_F(OVNPropertyMappingOperationTest, FailedElementsAreLeftOutAndOneErrorLineIsLogged) {
  ConsoleCapture console;
  // The first lacks its required id, the third names a source outside the allowed ones.
  runOnQueue(operationFor(json(R"([{"dataSource": "METAR", "loc": {"lat": 30.2, "long": -97.7}},
                                   {"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.2, "long": -97.7}},
                                   {"id": "KATT", "dataSource": "RADAR", "loc": {"lat": 30.3, "long": -97.8}}])")));
  EXPECT_EQ(deliveredIds(), std::vector<std::string>{"KAUS"});
  std::vector<std::string> errorLines;
  for (const auto& line : console.lines())
    if (line.rfind("OVNPropertyMappingOperation: **ERROR** ", 0) == 0) errorLines.push_back(line);
  ASSERT_EQ(errorLines.size(), 1u);
  // The slot keeps the most recent failure: the third element's.
  EXPECT_NE(errorLines[0].find("oneOf validation failed on dataSource"), std::string::npos) << errorLines[0];
  EXPECT_EQ(errorLines[0].find("isRequired"), std::string::npos) << errorLines[0];

  delivery = {};
  runOnQueue(operationFor(json(R"([{"dataSource": "METAR"}, {"id": ""}])")));
  ASSERT_TRUE(delivery.called);
  ASSERT_TRUE(delivery.objects);
  EXPECT_EQ(delivery.objects->count(), 0u) << "all failed: an empty list, still delivered";
}

TEST_F(OVNPropertyMappingOperationTest, CancelledBeforeTheWorkOrBetweenElementsDeliversNothing) {
  std::atomic<int> observations{0};
  factory->hook = [&](const OVNClass& cls) {
    if (&cls == &Observation::classObject()) ++observations;
  };
  auto early = operationFor(json(kThreeObservations));
  early->cancel();
  runOnQueue(early);
  EXPECT_TRUE(early->isFinished());
  EXPECT_EQ(observations.load(), 0) << "nothing is mapped";

  OVNPropertyMappingOperationRef midway = operationFor(json(kThreeObservations));
  factory->hook = [&](const OVNClass& cls) {
    if (&cls == &Observation::classObject() && ++observations == 2) midway->cancel();
  };
  runOnQueue(midway);
  EXPECT_TRUE(midway->isFinished());
  EXPECT_EQ(observations.load(), 2) << "the third element must not be mapped";
  EXPECT_FALSE(delivery.called);
}

TEST_F(OVNPropertyMappingOperationTest, DeliveryHonoursCancellationAndReadsTheCompletionAgain) {
  // The work runs on another thread; its delivery then waits on the main queue, which this
  // thread drains only afterwards.
  auto cancelled = operationFor(json(kThreeObservations));
  std::thread([&] { cancelled->start(); }).join();
  cancelled->cancel();
  OVNRunLoop::main().drain();
  EXPECT_FALSE(delivery.called);

  auto replaced = operationFor(json(kThreeObservations));
  std::thread([&] { replaced->start(); }).join();
  bool replacementCalled = false;
  replaced->setMappingCompletionBlock(
      [&](const OVNArrayRef& objects) { replacementCalled = objects && objects->count() == 3; });
  OVNRunLoop::main().drain();
  EXPECT_TRUE(replacementCalled);
  EXPECT_FALSE(delivery.called);
}

}  // namespace
