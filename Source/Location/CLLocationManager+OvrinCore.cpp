#include "Location/CLLocationManager+OvrinCore.h"
#include "Logging/OVNLogger.h"

namespace {
// Where the manager keeps the blocks delegate it owns.
constexpr const char* kBlocksDelegateKey = "OVNCLLocationManagerBlocks";
}  // namespace

OVNLocationManagerRef updateManager() { return OVNLocationManager::init(); }

OVNLocationManagerRef updateManagerWithAccuracy(double accuracy, double locationAge) {
  auto manager = updateManager();
  setUpdateAccuracyFilter(*manager, accuracy);
  setUpdateLocationAgeFilter(*manager, locationAge);
  return manager;
}

OVNLocationManagerRef updateManagerWithAccuracy(double accuracy, double locationAge,
                                                std::uint64_t authorizationDesciption) {
  auto manager = updateManagerWithAccuracy(accuracy, locationAge);
  setAuthorizationDescription(*manager, authorizationDesciption);
  return manager;
}

bool isLocationUpdatesAvailable() {
  const OVNAuthorizationStatus status = OVNLocationManager::authorizationStatus();
  return status == OVNAuthorizationStatusNotDetermined || status == OVNAuthorizationStatusAuthorizedAlways ||
         status == OVNAuthorizationStatusAuthorizedWhenInUse;
}

OVNCLLocationManagerBlocksRef blocksDelegate(OVNLocationManager& manager) {
  if (auto existing =
          std::dynamic_pointer_cast<OVNCLLocationManagerBlocks>(manager.attachedObject(kBlocksDelegateKey))) {
    return existing;
  }
  return setBlocksDelegate(manager);
}

OVNCLLocationManagerBlocksRef setBlocksDelegate(OVNLocationManager& manager) {
  auto delegate = OVNMake<OVNCLLocationManagerBlocks>();
  manager.setDelegate(delegate);
  manager.setAttachedObject(kBlocksDelegateKey, delegate);
  return delegate;
}

double updateAccuracyFilter(OVNLocationManager& manager) { return blocksDelegate(manager)->updateAccuracyFilter(); }
void setUpdateAccuracyFilter(OVNLocationManager& manager, double accuracy) {
  blocksDelegate(manager)->setUpdateAccuracyFilter(accuracy);
}
double updateLocationAgeFilter(OVNLocationManager& manager) {
  return blocksDelegate(manager)->updateLocationAgeFilter();
}
void setUpdateLocationAgeFilter(OVNLocationManager& manager, double age) {
  blocksDelegate(manager)->setUpdateLocationAgeFilter(age);
}
std::uint64_t authorizationDescription(OVNLocationManager& manager) {
  return blocksDelegate(manager)->authorizationDescription();
}
void setAuthorizationDescription(OVNLocationManager& manager, std::uint64_t description) {
  blocksDelegate(manager)->setAuthorizationDescription(description);
}

void startUpdatingLocationWithUpdateBlock(OVNLocationManager& manager, OVNCLLocationUpdateBlock block) {
  blocksDelegate(manager)->updateBlock = std::move(block);
  OVNLogger::log(OVNLogLevelDebug, "Starting location updates");
  requestAuthorization(manager);
  manager.startUpdatingLocation();
}

void startUpdatingHeadingWithUpdateBlock(OVNLocationManager& manager, OVNCLHeadingUpdateBlock block) {
  blocksDelegate(manager)->headingUpdateBlock = std::move(block);
  OVNLogger::log(OVNLogLevelDebug, "Starting heading updatess");
  requestAuthorization(manager);
  manager.startUpdatingHeading();
}

void requestAuthorization(OVNLocationManager& manager) {
  if (OVNLocationManager::authorizationStatus() != OVNAuthorizationStatusNotDetermined ||
      !manager.offersWhenInUseAuthorization()) {
    return;
  }
  if (authorizationDescription(manager) == OVNCLAuthorizationDescriptionWhenInUse) {
    manager.requestWhenInUseAuthorization();
  } else {
    manager.requestAlwaysAuthorization();
  }
}

void didUpdateLocationsWithBlock(OVNLocationManager& manager, OVNCLDidUpdateLocationsBlock block) {
  blocksDelegate(manager)->didUpdateLocationsBlock = std::move(block);
}
void didUpdateHeadingWithBlock(OVNLocationManager& manager, OVNCLDidUpdateHeadingBlock block) {
  blocksDelegate(manager)->didUpdateHeadingBlock = std::move(block);
}
void shouldDisplayHeadingCalibrationWithBlock(OVNLocationManager& manager, OVNCLShouldDisplayCalibrationBlock block) {
  blocksDelegate(manager)->shouldDisplayCalibrationBlock = std::move(block);
}
void didDetermineStateWithBlock(OVNLocationManager& manager, OVNCLDidDetermineStateBlock block) {
  blocksDelegate(manager)->didDetermineStateBlock = std::move(block);
}
void didRangeBeaconsWithBlock(OVNLocationManager& manager, OVNCLDidRangeBeaconsBlock block) {
  blocksDelegate(manager)->didRangeBeaconsBlock = std::move(block);
}
void rangingBeaconsDidFailForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionErrorBlock block) {
  blocksDelegate(manager)->rangingBeaconsDidFailForRegionBlock = std::move(block);
}
void didEnterRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block) {
  blocksDelegate(manager)->didEnterRegionBlock = std::move(block);
}
void didExitRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block) {
  blocksDelegate(manager)->didExitRegionBlock = std::move(block);
}
void didFailWithErrorWithBlock(OVNLocationManager& manager, OVNCLErrorBlock block) {
  blocksDelegate(manager)->didFailWithErrorBlock = std::move(block);
}
void monitoringDidFailForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionErrorBlock block) {
  blocksDelegate(manager)->monitoringDidFailForRegionWithBlock = std::move(block);
}
void didChangeAuthorizationStatusWithBlock(OVNLocationManager& manager, OVNCLDidChangeAuthorizationStatusBlock block) {
  blocksDelegate(manager)->didChangeAuthorizationStatusBlock = std::move(block);
}
void didStartMonitoringForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block) {
  blocksDelegate(manager)->didStartMonitoringForRegionWithBlock = std::move(block);
}
void locationManagerDidPauseLocationUpdatesWithBlock(OVNLocationManager& manager, OVNCLManagerBlock block) {
  blocksDelegate(manager)->locationManagerDidPauseLocationUpdatesBlock = std::move(block);
}
void locationManagerDidResumeLocationUpdatesWithBlock(OVNLocationManager& manager, OVNCLManagerBlock block) {
  blocksDelegate(manager)->locationManagerDidResumeLocationUpdatesBlock = std::move(block);
}
void didFinishDeferredUpdatesWithErrorWithBlock(OVNLocationManager& manager, OVNCLErrorBlock block) {
  blocksDelegate(manager)->didFinishDeferredUpdatesWithErrorBlock = std::move(block);
}
void didVisitWithBlock(OVNLocationManager& manager, OVNCLDidVisitBlock block) {
  blocksDelegate(manager)->didVisitBlock = std::move(block);
}
