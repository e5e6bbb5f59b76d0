#include "Location/OVNCLLocationManagerBlocks.h"

#include <cmath>

#include "Logging/OVNLogger.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNCLLocationManagerBlocks, (updateAccuracyFilter, setUpdateAccuracyFilter),
               (updateLocationAgeFilter, setUpdateLocationAgeFilter),
               (authorizationDescription, setAuthorizationDescription))

bool OVNCLLocationManagerBlocks::accepts(const OVNLocation& location) const {
  if (updateAccuracyFilter_ != OVNCLUpdateAccuracyFilterNone && location.horizontalAccuracy() > updateAccuracyFilter_) {
    return false;
  }
  return !(std::fabs(location.timestamp().timeIntervalSinceNow()) > updateLocationAgeFilter_);
}

bool OVNCLLocationManagerBlocks::callUpdateBlock(OVNLocationManager& manager, const OVNLocationRef& location,
                                                 const std::shared_ptr<OVNError>& error) {
  if (!updateBlock) return false;
  bool stop = false;
  const OVNCLLocationUpdateBlock block = updateBlock;  // the callback may replace it
  block(manager, location, error, &stop);
  if (!stop) return false;
  manager.stopUpdatingLocation();
  updateBlock = nullptr;
  return true;
}

void OVNCLLocationManagerBlocks::locationManagerDidUpdateLocations(OVNLocationManager& manager,
                                                                   const std::vector<OVNLocationRef>& locations) {
  std::vector<OVNLocationRef> accepted;
  for (const auto& location : locations) {
    if (!location || !accepts(*location)) continue;
    accepted.push_back(location);
    if (callUpdateBlock(manager, location, nullptr)) break;
  }
  if (!accepted.empty() && didUpdateLocationsBlock) didUpdateLocationsBlock(manager, accepted);
}

void OVNCLLocationManagerBlocks::locationManagerDidUpdateToLocation(OVNLocationManager& manager,
                                                                    const OVNLocationRef& newLocation,
                                                                    const OVNLocationRef&) {
  locationManagerDidUpdateLocations(manager, {newLocation});
}

void OVNCLLocationManagerBlocks::locationManagerDidUpdateHeading(OVNLocationManager& manager,
                                                                 const OVNHeadingRef& heading) {
  if (didUpdateHeadingBlock) didUpdateHeadingBlock(manager, heading);
  if (!headingUpdateBlock) return;
  bool stop = false;
  const OVNCLHeadingUpdateBlock block = headingUpdateBlock;
  block(manager, heading, nullptr, &stop);
  if (!stop) return;
  manager.stopUpdatingHeading();
  headingUpdateBlock = nullptr;
}

bool OVNCLLocationManagerBlocks::locationManagerShouldDisplayHeadingCalibration(OVNLocationManager& manager) {
  return shouldDisplayCalibrationBlock ? shouldDisplayCalibrationBlock(manager) : false;
}

void OVNCLLocationManagerBlocks::locationManagerDidFailWithError(OVNLocationManager& manager,
                                                                 const std::shared_ptr<OVNError>& error) {
  OVNLogger::log(OVNLogLevelError, "Location manager failed, error: %@", error ? error->description() : "(null)");
  if (didFailWithErrorBlock) didFailWithErrorBlock(manager, error);
  callUpdateBlock(manager, nullptr, error);
}

// Every other event goes to its callback as it stands.

void OVNCLLocationManagerBlocks::locationManagerDidDetermineState(OVNLocationManager& manager, OVNRegionState state,
                                                                  const OVNRegionRef& region) {
  if (didDetermineStateBlock) didDetermineStateBlock(manager, state, region);
}

void OVNCLLocationManagerBlocks::locationManagerDidRangeBeacons(OVNLocationManager& manager,
                                                                const std::vector<OVNBeaconRef>& beacons,
                                                                const OVNRegionRef& region) {
  if (didRangeBeaconsBlock) didRangeBeaconsBlock(manager, beacons, region);
}

void OVNCLLocationManagerBlocks::locationManagerRangingBeaconsDidFailForRegion(OVNLocationManager& manager,
                                                                               const OVNRegionRef& region,
                                                                               const std::shared_ptr<OVNError>& error) {
  if (rangingBeaconsDidFailForRegionBlock) rangingBeaconsDidFailForRegionBlock(manager, region, error);
}

void OVNCLLocationManagerBlocks::locationManagerDidEnterRegion(OVNLocationManager& manager,
                                                               const OVNRegionRef& region) {
  if (didEnterRegionBlock) didEnterRegionBlock(manager, region);
}

void OVNCLLocationManagerBlocks::locationManagerDidExitRegion(OVNLocationManager& manager, const OVNRegionRef& region) {
  if (didExitRegionBlock) didExitRegionBlock(manager, region);
}

void OVNCLLocationManagerBlocks::locationManagerMonitoringDidFailForRegion(OVNLocationManager& manager,
                                                                           const OVNRegionRef& region,
                                                                           const std::shared_ptr<OVNError>& error) {
  if (monitoringDidFailForRegionWithBlock) monitoringDidFailForRegionWithBlock(manager, region, error);
}

void OVNCLLocationManagerBlocks::locationManagerDidChangeAuthorizationStatus(OVNLocationManager& manager,
                                                                             OVNAuthorizationStatus status) {
  if (didChangeAuthorizationStatusBlock) didChangeAuthorizationStatusBlock(manager, status);
}

void OVNCLLocationManagerBlocks::locationManagerDidStartMonitoringForRegion(OVNLocationManager& manager,
                                                                            const OVNRegionRef& region) {
  if (didStartMonitoringForRegionWithBlock) didStartMonitoringForRegionWithBlock(manager, region);
}

void OVNCLLocationManagerBlocks::locationManagerDidPauseLocationUpdates(OVNLocationManager& manager) {
  if (locationManagerDidPauseLocationUpdatesBlock) locationManagerDidPauseLocationUpdatesBlock(manager);
}

void OVNCLLocationManagerBlocks::locationManagerDidResumeLocationUpdates(OVNLocationManager& manager) {
  if (locationManagerDidResumeLocationUpdatesBlock) locationManagerDidResumeLocationUpdatesBlock(manager);
}

void OVNCLLocationManagerBlocks::locationManagerDidFinishDeferredUpdatesWithError(
    OVNLocationManager& manager, const std::shared_ptr<OVNError>& error) {
  if (didFinishDeferredUpdatesWithErrorBlock) didFinishDeferredUpdatesWithErrorBlock(manager, error);
}

void OVNCLLocationManagerBlocks::locationManagerDidVisit(OVNLocationManager& manager, const OVNVisitRef& visit) {
  if (didVisitBlock) didVisitBlock(manager, visit);
}
