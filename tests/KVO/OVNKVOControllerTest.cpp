#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "KVO/OVNKVOController.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/TestModels.h"

namespace {

class Owner : public OVNObject {
 public:
  std::vector<std::string> actions;
  std::vector<void*> contexts;
  std::vector<std::string> keyPaths;

  void countChanged(const OVNDictionaryRef& change, const OVNObjectRef& object) {
    actions.push_back(change->objectForKey("new").description() + "@" + object->className());
  }
  void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef&, const OVNDictionaryRef&,
                              void* context) override {
    keyPaths.push_back(keyPath);
    contexts.push_back(context);
  }
};

class OVNKVOControllerTest : public ::testing::Test {
 protected:
  ConsoleCapture console;
  std::shared_ptr<Owner> owner = OVNMake<Owner>();
  std::shared_ptr<TestStation> station = OVNMake<TestStation>();
};

TEST_F(OVNKVOControllerTest, BlockFormCallsWithObserverObjectAndChange) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  std::vector<std::string> seen;
  controller->observe(station, "count", OVNKeyValueObservingOptionNew,
                      [&](const OVNObjectRef& observer, const OVNObjectRef& object, const OVNDictionaryRef& change) {
                        EXPECT_EQ(observer, owner);
                        EXPECT_EQ(object, station);
                        seen.push_back(change->objectForKey("new").description());
                      });
  station->setValue(5, "count");
  EXPECT_EQ(seen, std::vector<std::string>{"5"});
  const auto lines = console.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].rfind("OBSERVE: <TestStation: 0x", 0), 0u);
  EXPECT_EQ(lines[0].substr(lines[0].size() - 7), ">.count");
}

TEST_F(OVNKVOControllerTest, SecondRequestForSameKeyPathIsIgnored) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  int first = 0, second = 0;
  controller->observe(station, "count", 0, [&](auto&, auto&, auto&) { ++first; });
  controller->observe(station, "count", OVNKeyValueObservingOptionNew, [&](auto&, auto&, auto&) { ++second; });
  station->setValue(1, "count");
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
}

TEST_F(OVNKVOControllerTest, InvalidRequestsDoNothingAndNullContextRegisters) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  controller->observe(station, "count", 0, OVNKVONotificationBlock{});
  controller->observe(station, "", 0, [](auto&, auto&, auto&) {});
  controller->observe(nullptr, "count", 0, [](auto&, auto&, auto&) {});
  controller->observe(station, "count", 0, OVNKVOAction{});
  controller->observe(station, std::vector<std::string>{}, 0, [](auto&, auto&, auto&) {});
  EXPECT_FALSE(station->hasObservers());

  controller->observe(station, "count", 0, static_cast<void*>(nullptr));
  EXPECT_TRUE(station->hasObservers());
  controller->unobserve(station, "never-observed");  // nothing happens
  EXPECT_TRUE(station->hasObservers());
}

TEST_F(OVNKVOControllerTest, ActionAndGenericHandlerForms) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  int callerContext = 0;
  controller->observe(station, std::vector<std::string>{"count", "temperature"}, OVNKeyValueObservingOptionNew,
                      OVNKVOAction(&Owner::countChanged));
  controller->observe(station, "title", 0, &callerContext);
  station->setValue(3, "count");
  station->setValue(1.5, "temperature");
  station->setValue("t", "title");
  EXPECT_EQ(owner->actions, (std::vector<std::string>{"3@TestStation", "1.5@TestStation"}));
  ASSERT_EQ(owner->contexts.size(), 1u);
  EXPECT_EQ(owner->keyPaths[0], "title");
  // The generic handler gets the registration's info, never the caller's context value.
  EXPECT_NE(owner->contexts[0], nullptr);
  EXPECT_NE(owner->contexts[0], &callerContext);
}

TEST_F(OVNKVOControllerTest, UnobserveObjectLeavesOtherControllersWorking) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  auto otherOwner = OVNMake<Owner>();
  auto other = OVNKVOController::controllerWithObserver(*otherOwner);
  int mine = 0, theirs = 0;
  controller->observe(station, std::vector<std::string>{"count", "title"}, 0, [&](auto&, auto&, auto&) { ++mine; });
  other->observe(station, "count", 0, [&](auto&, auto&, auto&) { ++theirs; });

  controller->unobserve(station);
  station->setValue(1, "count");
  station->setValue("x", "title");
  EXPECT_EQ(mine, 0);
  EXPECT_EQ(theirs, 1);

  controller->observe(station, "count", 0, [&](auto&, auto&, auto&) { ++mine; });
  controller->unobserve(station, "count");
  station->setValue(2, "count");
  EXPECT_EQ(mine, 0);
  EXPECT_EQ(theirs, 2);
}

TEST_F(OVNKVOControllerTest, DestroyingTheControllerRemovesEveryRegistration) {
  auto place = OVNMake<TestPlace>();
  {
    auto controller = OVNKVOController::controllerWithObserver(*owner);
    controller->observe(station, std::vector<std::string>{"count", "title"}, 0, [](auto&, auto&, auto&) {});
    controller->observe(place, "name", 0, [](auto&, auto&, auto&) {});
    EXPECT_TRUE(station->hasObservers());
    EXPECT_TRUE(place->hasObservers());
  }
  EXPECT_FALSE(station->hasObservers());
  EXPECT_FALSE(place->hasObservers());
}

TEST_F(OVNKVOControllerTest, OwnerGoneCallsNothingButStillTraces) {
  auto controller = OVNKVOController::controllerWithObserver(*owner);
  int calls = 0;
  controller->observe(station, "count", 0, [&](auto&, auto&, auto&) { ++calls; });
  owner.reset();
  station->setValue(9, "count");
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(console.lines().size(), 1u);
}

TEST_F(OVNKVOControllerTest, RetainObservedDecidesWhoKeepsObjectsAlive) {
  std::weak_ptr<TestStation> watched = station;
  auto retaining = OVNKVOController::initWithObserver(*owner);
  retaining->observe(station, "count", 0, [](auto&, auto&, auto&) {});
  auto weakController = OVNKVOController::initWithObserver(*owner, false);
  auto place = OVNMake<TestPlace>();
  std::weak_ptr<TestPlace> weakPlace = place;
  weakController->observe(place, "name", 0, [](auto&, auto&, auto&) {});

  station.reset();
  place.reset();
  EXPECT_FALSE(watched.expired());  // the retaining controller keeps it
  EXPECT_TRUE(weakPlace.expired());
  retaining->unobserveAll();
  EXPECT_TRUE(watched.expired());
  weakController.reset();  // unobserving a vanished object is harmless
}

TEST_F(OVNKVOControllerTest, ObserveAndUnobserveRaceSafely) {
  std::atomic<bool> stop{false};
  std::thread changer([&] {
    int i = 0;
    while (!stop) station->setValue(++i, "count");
  });
  for (int round = 0; round < 200; ++round) {
    auto controller = OVNKVOController::controllerWithObserver(*owner);
    std::thread registrar([&] { controller->observe(station, "count", 0, [](auto&, auto&, auto&) {}); });
    controller->unobserve(station, "count");
    registrar.join();
    controller->unobserveAll();
  }
  stop = true;
  changer.join();
  EXPECT_FALSE(station->hasObservers());
}

}  // namespace
