#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Networking/OVNNetworkActivityIndicatorManager.h"
#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/System/OVNApplication.h"
#include "Platform/Values/OVNDictionary.h"

namespace indicator_test {
// A request and a task with the properties of URL session tasks, found by key-value coding.
class IndicatorTestRequest : public OVNObject {
  OVN_CLASS(IndicatorTestRequest, OVNObject)
 public:
  std::shared_ptr<OVNURL> URL;
};
class IndicatorTestTask : public OVNObject {
  OVN_CLASS(IndicatorTestTask, OVNObject)
 public:
  std::shared_ptr<IndicatorTestRequest> originalRequest;
};
}  // namespace indicator_test
OVN_PROPERTIES(indicator_test::IndicatorTestRequest, URL)
OVN_PROPERTIES(indicator_test::IndicatorTestTask, originalRequest)

namespace {
using Manager = OVNNetworkActivityIndicatorManager;
using indicator_test::IndicatorTestRequest;
using indicator_test::IndicatorTestTask;

// Records "key=new value" for every change it is told about.
class ChangeRecorder : public OVNObject {
 public:
  std::vector<std::string> changes;
  void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef&, const OVNDictionaryRef& change,
                              void*) override {
    changes.push_back(keyPath + "=" + change->objectForKey(OVNKeyValueChangeNewKey).description());
  }
};

class OVNNetworkActivityIndicatorManagerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    application->setNetworkActivityIndicatorVisible(false);
    applicationObserver = OVNNotificationCenter::defaultCenter().addObserver(
        std::string(OVNApplicationNetworkActivityIndicatorDidChangeNotification), application, nullptr,
        [this](const OVNNotification&) {
          applicationFlags.push_back(application->isNetworkActivityIndicatorVisible());
        });
    manager->setEnabled(true);
  }
  void TearDown() override {
    OVNRunLoop::main().drain();  // no queued update outlives the test
    OVNNotificationCenter::defaultCenter().removeObserver(applicationObserver);
    application->setNetworkActivityIndicatorVisible(false);
  }

  void recordActions() {
    manager->setNetworkingActivityActionWithBlock([this](bool v) { actions.push_back(v); });
  }
  void start() {
    manager->incrementActivityCount();
    OVNRunLoop::main().drain();
  }
  void finish() {
    manager->decrementActivityCount();
    OVNRunLoop::main().drain();
  }
  // One request that outlasts the activation delay: the indicator shows.
  void showIndicator() {
    start();
    clock.advance(manager->activationDelay());
    ASSERT_EQ(manager->currentState(), Manager::Active);
  }

  OVNTestClock clock{0.0};
  const std::shared_ptr<OVNApplication>& application = OVNApplication::sharedApplication();
  OVNNotificationCenter::ObserverToken applicationObserver;
  std::vector<bool> applicationFlags;  // the application's flag at each of its notifications
  std::vector<bool> actions;           // what the action block was told
  std::shared_ptr<Manager> manager = OVNMake<Manager>();
};

TEST_F(OVNNetworkActivityIndicatorManagerTest, OneLongRequestShowsAfterTheActivationDelayAndHidesAfterCompletion) {
  recordActions();
  manager->incrementActivityCount();
  EXPECT_EQ(manager->currentState(), Manager::NotActive) << "the update is queued on the main queue";
  OVNRunLoop::main().drain();
  EXPECT_EQ(manager->currentState(), Manager::DelayingStart);

  clock.advance(0.999);
  EXPECT_EQ(manager->currentState(), Manager::DelayingStart);
  EXPECT_TRUE(actions.empty());
  clock.advance(0.001);
  EXPECT_EQ(manager->currentState(), Manager::Active);
  EXPECT_TRUE(manager->isNetworkActivityIndicatorVisible());

  finish();
  EXPECT_EQ(manager->currentState(), Manager::DelayingCompletion);
  clock.advance(0.169);
  EXPECT_TRUE(manager->isNetworkActivityIndicatorVisible());
  clock.advance(0.001);
  EXPECT_EQ(manager->currentState(), Manager::NotActive);
  EXPECT_FALSE(manager->isNetworkActivityIndicatorVisible());

  EXPECT_EQ(actions, (std::vector<bool>{true, false}));
  EXPECT_TRUE(applicationFlags.empty()) << "with an action block the application is never told";
  EXPECT_FALSE(application->isNetworkActivityIndicatorVisible());
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, WithoutAnActionBlockTheApplicationFlagFollows) {
  showIndicator();
  EXPECT_TRUE(application->isNetworkActivityIndicatorVisible());
  finish();
  clock.advance(manager->completionDelay());
  EXPECT_EQ(applicationFlags, (std::vector<bool>{true, false}));
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, RequestsThatNeverShowTheIndicator) {
  recordActions();
  // Ends within the activation delay: the activation timer finds no activity.
  start();
  clock.advance(0.5);
  finish();
  EXPECT_EQ(manager->currentState(), Manager::DelayingStart) << "the activation timer decides";
  clock.advance(0.5);
  EXPECT_EQ(manager->currentState(), Manager::NotActive);

  // A manager that was never enabled counts but stays put.
  auto disabled = OVNMake<Manager>();
  disabled->setNetworkingActivityActionWithBlock([this](bool v) { actions.push_back(v); });
  disabled->incrementActivityCount();
  clock.advance(5);
  EXPECT_FALSE(disabled->isEnabled());
  EXPECT_EQ(disabled->activityCount(), 1);
  EXPECT_EQ(disabled->currentState(), Manager::NotActive);

  EXPECT_TRUE(actions.empty());
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, DisablingWhileVisibleHidesAtOnce) {
  recordActions();
  showIndicator();
  finish();
  auto completion = manager->completionDelayTimer();
  manager->setEnabled(false);
  EXPECT_EQ(manager->currentState(), Manager::NotActive);
  EXPECT_EQ(actions, (std::vector<bool>{true, false}));
  EXPECT_FALSE(completion->isValid());
  start();
  clock.advance(5);
  EXPECT_EQ(actions.size(), 2u);
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, ActivityDuringTheCompletionDelayKeepsTheIndicator) {
  recordActions();
  showIndicator();
  finish();
  auto completion = manager->completionDelayTimer();
  clock.advance(0.1);
  start();
  EXPECT_EQ(manager->currentState(), Manager::Active);
  EXPECT_FALSE(completion->isValid());
  clock.advance(5);
  EXPECT_EQ(actions, (std::vector<bool>{true}));
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, CountStopsAtZeroAndIsSafeFromAnyThread) {
  finish();
  EXPECT_EQ(manager->activityCount(), 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < 100; ++i) manager->incrementActivityCount();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(manager->activityCount(), 400);
  EXPECT_TRUE(manager->isNetworkActivityOccurring());
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, ObserversSeeEachChangeOnce) {
  auto recorder = std::make_shared<ChangeRecorder>();
  for (const char* key : {"currentState", "activityCount", "networkActivityIndicatorVisible"}) {
    manager->addObserver(*recorder, key, OVNKeyValueObservingOptionNew, nullptr);
  }
  showIndicator();
  finish();
  clock.advance(manager->completionDelay());
  manager->setValue(OVNValue(Manager::Active), "currentState");  // through key-value coding, too
  EXPECT_EQ(recorder->changes,
            (std::vector<std::string>{"activityCount=1", "currentState=1", "networkActivityIndicatorVisible=1",
                                      "currentState=2", "activityCount=0", "currentState=3",
                                      "networkActivityIndicatorVisible=0", "currentState=0",
                                      "networkActivityIndicatorVisible=1", "currentState=2"}));
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, NotificationsCountOnlyRequestsWithAURL) {
  auto taskWith = [](std::shared_ptr<OVNURL> url, bool withRequest) {
    auto task = OVNMake<IndicatorTestTask>();
    if (withRequest) task->originalRequest = OVNMake<IndicatorTestRequest>();
    if (task->originalRequest) task->originalRequest->URL = std::move(url);
    return task;
  };
  const auto url = OVNURL::URLWithString("https://example.com/a");
  const struct {
    const char* what;
    OVNObjectRef object;
    std::int64_t counted;
  } cases[] = {
      {"no object", nullptr, 0},
      {"an object without originalRequest", OVNMake<OVNObject>(), 0},
      {"a task without a request", taskWith(url, false), 0},
      {"a request without a URL", taskWith(nullptr, true), 0},
      {"a request with a URL", taskWith(url, true), 1},
  };
  manager->startObservingNetworkRequestNotifications("IndicatorTestDidStart", "IndicatorTestDidFinish");
  for (const auto& c : cases) {
    OVNNotificationCenter::defaultCenter().post("IndicatorTestDidStart", c.object);
    EXPECT_EQ(manager->activityCount(), c.counted) << c.what;
    OVNNotificationCenter::defaultCenter().post("IndicatorTestDidFinish", c.object);
    EXPECT_EQ(manager->activityCount(), 0) << c.what;
  }
}

TEST_F(OVNNetworkActivityIndicatorManagerTest, AManagerGoneAwayLeavesNoTimerBehind) {
  recordActions();
  start();
  auto activation = manager->activationDelayTimer();
  manager.reset();
  EXPECT_FALSE(activation->isValid());
  clock.advance(5);
  EXPECT_TRUE(actions.empty());
}

TEST(OVNNetworkActivityIndicatorManagerSharedTest, OneManagerForTheProcess) {
  EXPECT_THROW(Manager::sharedManager(OVNObject::classObject()), OVNException);
  auto shared = Manager::sharedManager();
  EXPECT_EQ(shared, Manager::sharedManager<Manager>());
  EXPECT_FALSE(shared->isEnabled());
}

}  // namespace
