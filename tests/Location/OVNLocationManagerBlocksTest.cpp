// The callback adapter on a real location manager, driven by the simulated provider and the
// test clock: filters, the stop flag, authorization, regions, failures and every event.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Location/CLLocationManager+OvrinCore.h"
#include "Logging/OVNLogger.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Location/OVNLocationError.h"
#include "Platform/Location/OVNSimulatedLocationProvider.h"
#include "Support/ConsoleCapture.h"

namespace {

constexpr OVNLocationCoordinate2D kAustin{30.2672, -97.7431};

OVNLocationRef fixAt(OVNLocationCoordinate2D coordinate, double accuracy, double age) {
  OVNLocation::Fix fix;
  fix.coordinate = coordinate;
  fix.horizontalAccuracy = accuracy;
  fix.timestamp = OVNDate::now().dateByAddingTimeInterval(-age);
  return OVNLocation::initWithFix(fix);
}

OVNSimulatedLocationProvider::Step step(OVNLocationCoordinate2D coordinate, double delay = 1, double course = -1) {
  OVNSimulatedLocationProvider::Step step;
  step.delay = delay;
  step.fix.coordinate = coordinate;
  step.fix.horizontalAccuracy = 10;
  step.fix.course = course;
  return step;
}

class OVNLocationManagerBlocksTest : public ::testing::Test {
 protected:
  void TearDown() override { OVNLocationManager::setAuthorizationStatus(OVNAuthorizationStatusAuthorizedAlways); }

  // A manager replaying `track`, with generous filters unless a test sets its own.
  OVNLocationManagerRef managerReplaying(std::vector<OVNSimulatedLocationProvider::Step> track) {
    auto manager = updateManagerWithAccuracy(100, 15);
    manager->setProvider(std::make_shared<OVNSimulatedLocationProvider>(std::move(track)));
    return manager;
  }

  OVNTestClock clock{800000000};
};

TEST_F(OVNLocationManagerBlocksTest, FixesPassTheAccuracyFilterThenTheAgeFilter) {
  struct Case {
    double accuracyFilter, ageFilter, accuracy, age;
    bool accepted;
  };
  const Case cases[] = {{100, 15, 65, 1, true},   {100, 15, 150, 1, false},  {0, 15, 5000, 1, true},
                        {100, 15, 65, 20, false}, {100, 15, 65, -20, false}, {0, 0, 10, 0.5, false},
                        {0, 0, 10, 0, true}};  // an age filter of 0 passes only a fix stamped now
  for (const Case& c : cases) {
    auto manager = updateManagerWithAccuracy(c.accuracyFilter, c.ageFilter);
    std::vector<OVNLocationRef> delivered;
    didUpdateLocationsWithBlock(*manager, [&](OVNLocationManager&, const auto& fixes) { delivered = fixes; });
    blocksDelegate(*manager)->locationManagerDidUpdateLocations(*manager, {fixAt(kAustin, c.accuracy, c.age)});
    EXPECT_EQ(delivered.size(), c.accepted ? 1U : 0U)
        << c.accuracyFilter << " " << c.ageFilter << " " << c.accuracy << " " << c.age;
  }
}

TEST_F(OVNLocationManagerBlocksTest, TheStopFlagEndsUpdatesAndTheExaminationOfFixes) {
  auto manager = updateManagerWithAccuracy(100, 15);
  manager->setProvider(std::make_shared<OVNSimulatedLocationProvider>(std::vector{step(kAustin)}));
  int calls = 0;
  startUpdatingLocationWithUpdateBlock(*manager, [&](OVNLocationManager&, const OVNLocationRef& location,
                                                     const std::shared_ptr<OVNError>& error, bool* stop) {
    ++calls;
    EXPECT_TRUE(location && !error);
    *stop = true;
  });
  std::vector<OVNLocationRef> delivered;
  didUpdateLocationsWithBlock(*manager, [&](OVNLocationManager&, const auto& fixes) { delivered = fixes; });
  const std::vector<OVNLocationRef> three{fixAt(kAustin, 10, 0), fixAt(kAustin, 20, 0), fixAt(kAustin, 30, 0)};
  blocksDelegate(*manager)->locationManagerDidUpdateLocations(*manager, three);
  EXPECT_EQ(calls, 1);
  ASSERT_EQ(delivered.size(), 1U);
  EXPECT_EQ(delivered[0], three[0]);
  EXPECT_FALSE(manager->isUpdatingLocation());
  EXPECT_FALSE(blocksDelegate(*manager)->updateBlock);
  clock.advance(5);  // the provider was stopped with the updates
  EXPECT_EQ(calls, 1);
}

TEST_F(OVNLocationManagerBlocksTest, ReplayedFixesAndHeadingsArriveOnTime) {
  auto manager = managerReplaying({step(kAustin, 1, 90), step({30.27, -97.74}, 2, 180), step({30.28, -97.75}, 2)});
  std::vector<std::pair<double, OVNLocationCoordinate2D>> fixes;
  startUpdatingLocationWithUpdateBlock(
      *manager, [&](OVNLocationManager&, const OVNLocationRef& location, const std::shared_ptr<OVNError>&, bool* stop) {
        fixes.emplace_back(location->timestamp().timeIntervalSinceReferenceDate() - 800000000, location->coordinate());
        *stop = fixes.size() == 2;
      });
  std::vector<double> headings;
  ConsoleCapture console;
  OVNLogger::setLoggingLevel(OVNLogLevelDebug);
  startUpdatingHeadingWithUpdateBlock(
      *manager, [&](OVNLocationManager&, const OVNHeadingRef& heading, const std::shared_ptr<OVNError>&, bool*) {
        headings.push_back(heading->trueHeading());
      });
  OVNLogger::setLoggingLevel(OVNLogLevelWarn);
  ASSERT_FALSE(console.lines().empty());
  EXPECT_EQ(console.lines().back(), "[Ovrin] DEBUG Starting heading updatess");  // the doubled s is kept
  clock.advance(0.99);
  EXPECT_TRUE(fixes.empty());
  clock.advance(10);
  ASSERT_EQ(fixes.size(), 2U) << "the second fix stopped the updates";
  EXPECT_EQ(fixes[0].first, 1);
  EXPECT_EQ(fixes[1].first, 3);
  EXPECT_EQ(fixes[1].second, (OVNLocationCoordinate2D{30.27, -97.74}));
  EXPECT_EQ(headings, (std::vector<double>{90, 180}));
  // Heading updates keep the provider running, so the manager still knows the latest fix.
  EXPECT_EQ(manager->location()->coordinate(), (OVNLocationCoordinate2D{30.28, -97.75}));
}

TEST_F(OVNLocationManagerBlocksTest, AuthorizationIsRequestedOnlyWhileNotDetermined) {
  const std::pair<OVNAuthorizationStatus, bool> available[] = {{OVNAuthorizationStatusNotDetermined, true},
                                                               {OVNAuthorizationStatusRestricted, false},
                                                               {OVNAuthorizationStatusDenied, false},
                                                               {OVNAuthorizationStatusAuthorizedAlways, true},
                                                               {OVNAuthorizationStatusAuthorizedWhenInUse, true},
                                                               {5, false}};
  for (const auto& [status, expected] : available) {
    OVNLocationManager::setAuthorizationStatus(status);
    EXPECT_EQ(isLocationUpdatesAvailable(), expected) << status;
  }
  for (const auto& [description, granted] :
       {std::pair<std::uint64_t, OVNAuthorizationStatus>{1, OVNAuthorizationStatusAuthorizedWhenInUse},
        {0, OVNAuthorizationStatusAuthorizedAlways},
        {7, OVNAuthorizationStatusAuthorizedAlways}}) {
    OVNLocationManager::setAuthorizationStatus(OVNAuthorizationStatusNotDetermined);
    auto manager = updateManagerWithAccuracy(100, 15, description);
    std::vector<OVNAuthorizationStatus> told;
    didChangeAuthorizationStatusWithBlock(*manager, [&](OVNLocationManager&, auto status) { told.push_back(status); });
    requestAuthorization(*manager);
    clock.advance(0);
    EXPECT_EQ(told, std::vector{granted}) << description;
    requestAuthorization(*manager);  // already granted: nothing more is asked
    clock.advance(0);
    EXPECT_EQ(told.size(), 1U);
  }
}

TEST_F(OVNLocationManagerBlocksTest, FailuresAreLoggedAndReachBothCallbacks) {
  auto failure = OVNError::errorWithDomain(OVNLocationErrorDomain, OVNLocationErrorLocationUnknown, "no fix");
  OVNSimulatedLocationProvider::Step failing;
  failing.failure = failure;
  auto manager = managerReplaying({failing});
  std::vector<std::string> order;
  didFailWithErrorWithBlock(*manager, [&](OVNLocationManager&, const auto& error) {
    EXPECT_EQ(error, failure);
    order.push_back("didFail");
  });
  startUpdatingLocationWithUpdateBlock(*manager, [&](OVNLocationManager&, const OVNLocationRef& location,
                                                     const std::shared_ptr<OVNError>& error, bool*) {
    EXPECT_TRUE(!location && error == failure);
    order.push_back("update");
  });
  ConsoleCapture console;
  clock.advance(1);
  EXPECT_EQ(order, (std::vector<std::string>{"didFail", "update"}));
  ASSERT_FALSE(console.lines().empty());
  EXPECT_EQ(console.lines().back().rfind("[Ovrin] ERROR Location manager failed, error: ", 0), 0U)
      << console.lines().back();

  // Denied: starting fails at once, with the platform's code.
  blocksDelegate(*manager)->updateBlock = nullptr;
  OVNLocationManager::setAuthorizationStatus(OVNAuthorizationStatusDenied);
  std::int64_t code = -1;
  didFailWithErrorWithBlock(*manager, [&](OVNLocationManager&, const auto& error) { code = error->code(); });
  manager->startUpdatingLocation();
  clock.advance(0);
  EXPECT_EQ(code, OVNLocationErrorDenied);
}

TEST_F(OVNLocationManagerBlocksTest, RegionsReportStatesEntriesAndExits) {
  const OVNLocationCoordinate2D outside{30.30, -97.74};
  auto manager = managerReplaying({step(outside), step(kAustin), step(kAustin), step(outside)});
  std::vector<std::string> events;
  auto note = [&](const char* what) {
    return [&events, what](OVNLocationManager&, const OVNRegionRef& region) {
      events.push_back(std::string(what) + " " + region->identifier());
    };
  };
  didStartMonitoringForRegionWithBlock(*manager, note("start"));
  didEnterRegionWithBlock(*manager, note("enter"));
  didExitRegionWithBlock(*manager, note("exit"));
  didDetermineStateWithBlock(*manager, [&](OVNLocationManager&, OVNRegionState state, const OVNRegionRef&) {
    events.push_back("state " + std::to_string(state));
  });
  monitoringDidFailForRegionWithBlock(
      *manager, [&](OVNLocationManager&, const OVNRegionRef& region, const auto& error) {
        events.push_back("fail " + region->identifier() + " " + std::to_string(error->code()));
      });
  manager->startMonitoringForRegion(OVNCircularRegion::initWithCenter(kAustin, 1000, "downtown"));
  manager->startMonitoringForRegion(OVNMake<OVNRegion>("not a circle"));
  manager->startMonitoringForRegion(OVNCircularRegion::initWithCenter(kAustin, -1, "negative"));
  clock.advance(10);
  EXPECT_EQ(events, (std::vector<std::string>{"start downtown", "fail not a circle 5", "fail negative 5", "state 2",
                                              "state 1", "enter downtown", "state 2", "exit downtown"}));
}

TEST_F(OVNLocationManagerBlocksTest, EveryOtherEventReachesItsCallback) {
  auto manager = updateManager();
  auto blocks = blocksDelegate(*manager);
  EXPECT_EQ(blocksDelegate(*manager), blocks) << "made once";
  EXPECT_FALSE(blocks->locationManagerShouldDisplayHeadingCalibration(*manager));
  std::vector<std::string> called;
  auto note = [&](const char* name) { return [&called, name](auto&&...) { called.push_back(name); }; };
  didUpdateHeadingWithBlock(*manager, note("heading"));
  didRangeBeaconsWithBlock(*manager, note("beacons"));
  rangingBeaconsDidFailForRegionWithBlock(*manager, note("rangingFailed"));
  locationManagerDidPauseLocationUpdatesWithBlock(*manager, note("pause"));
  locationManagerDidResumeLocationUpdatesWithBlock(*manager, note("resume"));
  didFinishDeferredUpdatesWithErrorWithBlock(*manager, note("deferred"));
  didVisitWithBlock(*manager, note("visit"));
  shouldDisplayHeadingCalibrationWithBlock(*manager, [](OVNLocationManager&) { return true; });
  const auto region = OVNMake<OVNRegion>("r");
  blocks->locationManagerDidUpdateHeading(*manager, OVNMake<OVNHeading>(1.0, 2.0, 3.0, OVNDate::now()));
  blocks->locationManagerDidRangeBeacons(*manager, {}, region);
  blocks->locationManagerRangingBeaconsDidFailForRegion(*manager, region, nullptr);
  blocks->locationManagerDidPauseLocationUpdates(*manager);
  blocks->locationManagerDidResumeLocationUpdates(*manager);
  blocks->locationManagerDidFinishDeferredUpdatesWithError(*manager, nullptr);
  blocks->locationManagerDidVisit(*manager, OVNMake<OVNVisit>(kAustin, 5.0, OVNDate::now(), OVNDate::distantFuture()));
  EXPECT_EQ(called,
            (std::vector<std::string>{"heading", "beacons", "rangingFailed", "pause", "resume", "deferred", "visit"}));
  EXPECT_TRUE(blocks->locationManagerShouldDisplayHeadingCalibration(*manager));

  // The manager owns its blocks delegate; a new one starts empty.
  std::weak_ptr<OVNCLLocationManagerBlocks> weak = blocks;
  blocks.reset();
  EXPECT_FALSE(weak.expired());
  auto fresh = setBlocksDelegate(*manager);
  EXPECT_TRUE(weak.expired());
  EXPECT_FALSE(fresh->didVisitBlock);
  EXPECT_EQ(manager->delegate(), std::static_pointer_cast<OVNLocationManagerDelegate>(fresh));
}

}  // namespace
