#pragma once
// The delegate behind the location manager's callback operations
// (CLLocationManager+OvrinCore.h): it holds the update filters and one callback per event,
// filters incoming fixes by accuracy and age, and forwards every event.
//
// Fixes, in the order delivered: a fix is skipped when the accuracy filter is set (not 0)
// and its horizontal accuracy is greater, then when its age (distance of its time stamp
// from now) is greater than the age filter. The age filter has no "none" case on purpose:
// at 0, only a fix stamped exactly now passes, so callers who want fixes set an age. Each
// accepted fix goes to updateBlock with a fresh stop flag; a callback that sets it stops
// location updates, clears updateBlock and ends the examination of the remaining fixes.
// didUpdateLocationsBlock then gets the accepted fixes, if any.
//
// Threads: the manager's (the main thread); callbacks run there. No locks.

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationManager.h"
#include "Platform/Objects/OVNObject.h"

//! No accuracy filter.
inline constexpr double OVNCLUpdateAccuracyFilterNone = 0;
//! The age filter's "none" value; an age filter of 0 still accepts only fixes stamped now.
inline constexpr double OVNCLLocationAgeFilterNone = 0;
//! authorizationDescription 1 requests when-in-use authorization; any other value "always".
inline constexpr std::uint64_t OVNCLAuthorizationDescriptionWhenInUse = 1;

using OVNCLLocationUpdateBlock = std::function<void(OVNLocationManager& manager, const OVNLocationRef& location,
                                                    const std::shared_ptr<OVNError>& error, bool* stop)>;
using OVNCLHeadingUpdateBlock = std::function<void(OVNLocationManager& manager, const OVNHeadingRef& heading,
                                                   const std::shared_ptr<OVNError>& error, bool* stop)>;
using OVNCLDidUpdateLocationsBlock =
    std::function<void(OVNLocationManager& manager, const std::vector<OVNLocationRef>& locations)>;
using OVNCLDidUpdateHeadingBlock = std::function<void(OVNLocationManager& manager, const OVNHeadingRef& heading)>;
using OVNCLShouldDisplayCalibrationBlock = std::function<bool(OVNLocationManager& manager)>;
using OVNCLDidDetermineStateBlock =
    std::function<void(OVNLocationManager& manager, OVNRegionState state, const OVNRegionRef& region)>;
using OVNCLDidRangeBeaconsBlock = std::function<void(
    OVNLocationManager& manager, const std::vector<OVNBeaconRef>& beacons, const OVNRegionRef& region)>;
using OVNCLRegionErrorBlock = std::function<void(OVNLocationManager& manager, const OVNRegionRef& region,
                                                 const std::shared_ptr<OVNError>& error)>;
using OVNCLRegionBlock = std::function<void(OVNLocationManager& manager, const OVNRegionRef& region)>;
using OVNCLErrorBlock = std::function<void(OVNLocationManager& manager, const std::shared_ptr<OVNError>& error)>;
using OVNCLDidChangeAuthorizationStatusBlock =
    std::function<void(OVNLocationManager& manager, OVNAuthorizationStatus status)>;
using OVNCLManagerBlock = std::function<void(OVNLocationManager& manager)>;
using OVNCLDidVisitBlock = std::function<void(OVNLocationManager& manager, const OVNVisitRef& visit)>;

class OVN_EXPORT OVNCLLocationManagerBlocks : public OVNObject, public OVNLocationManagerDelegate {
  OVN_CLASS(OVNCLLocationManagerBlocks, OVNObject)

 public:
  //! Greatest accepted horizontal accuracy, metres; 0 accepts any.
  double updateAccuracyFilter() const { return updateAccuracyFilter_; }
  void setUpdateAccuracyFilter(double metres) { updateAccuracyFilter_ = metres; }
  //! Greatest accepted age of a fix, seconds (see the top of this file for 0).
  double updateLocationAgeFilter() const { return updateLocationAgeFilter_; }
  void setUpdateLocationAgeFilter(double seconds) { updateLocationAgeFilter_ = seconds; }
  //! OVNCLAuthorizationDescriptionWhenInUse, or anything else for "always" (0 by default).
  std::uint64_t authorizationDescription() const { return authorizationDescription_; }
  void setAuthorizationDescription(std::uint64_t description) { authorizationDescription_ = description; }

  // The callbacks, one per event; each may be empty.
  OVNCLLocationUpdateBlock updateBlock;
  OVNCLHeadingUpdateBlock headingUpdateBlock;
  OVNCLDidUpdateLocationsBlock didUpdateLocationsBlock;
  OVNCLDidUpdateHeadingBlock didUpdateHeadingBlock;
  OVNCLShouldDisplayCalibrationBlock shouldDisplayCalibrationBlock;
  OVNCLDidDetermineStateBlock didDetermineStateBlock;
  OVNCLDidRangeBeaconsBlock didRangeBeaconsBlock;
  OVNCLRegionErrorBlock rangingBeaconsDidFailForRegionBlock;
  OVNCLRegionBlock didEnterRegionBlock;
  OVNCLRegionBlock didExitRegionBlock;
  OVNCLErrorBlock didFailWithErrorBlock;
  OVNCLRegionErrorBlock monitoringDidFailForRegionWithBlock;
  OVNCLDidChangeAuthorizationStatusBlock didChangeAuthorizationStatusBlock;
  OVNCLRegionBlock didStartMonitoringForRegionWithBlock;
  OVNCLManagerBlock locationManagerDidPauseLocationUpdatesBlock;
  OVNCLManagerBlock locationManagerDidResumeLocationUpdatesBlock;
  OVNCLErrorBlock didFinishDeferredUpdatesWithErrorBlock;
  OVNCLDidVisitBlock didVisitBlock;

  // ---- OVNLocationManagerDelegate ----------------------------------------------------------
  void locationManagerDidUpdateLocations(OVNLocationManager& manager,
                                         const std::vector<OVNLocationRef>& locations) override;
  //! The older single-fix event, taken as a list of the new fix.
  void locationManagerDidUpdateToLocation(OVNLocationManager& manager, const OVNLocationRef& newLocation,
                                          const OVNLocationRef& oldLocation) override;
  void locationManagerDidUpdateHeading(OVNLocationManager& manager, const OVNHeadingRef& heading) override;
  bool locationManagerShouldDisplayHeadingCalibration(OVNLocationManager& manager) override;
  void locationManagerDidDetermineState(OVNLocationManager& manager, OVNRegionState state,
                                        const OVNRegionRef& region) override;
  void locationManagerDidRangeBeacons(OVNLocationManager& manager, const std::vector<OVNBeaconRef>& beacons,
                                      const OVNRegionRef& region) override;
  void locationManagerRangingBeaconsDidFailForRegion(OVNLocationManager& manager, const OVNRegionRef& region,
                                                     const std::shared_ptr<OVNError>& error) override;
  void locationManagerDidEnterRegion(OVNLocationManager& manager, const OVNRegionRef& region) override;
  void locationManagerDidExitRegion(OVNLocationManager& manager, const OVNRegionRef& region) override;
  //! Logs "Location manager failed, error: %@" (error level), then didFailWithErrorBlock,
  //! then updateBlock with the error and a stop flag.
  void locationManagerDidFailWithError(OVNLocationManager& manager, const std::shared_ptr<OVNError>& error) override;
  void locationManagerMonitoringDidFailForRegion(OVNLocationManager& manager, const OVNRegionRef& region,
                                                 const std::shared_ptr<OVNError>& error) override;
  void locationManagerDidChangeAuthorizationStatus(OVNLocationManager& manager, OVNAuthorizationStatus status) override;
  void locationManagerDidStartMonitoringForRegion(OVNLocationManager& manager, const OVNRegionRef& region) override;
  void locationManagerDidPauseLocationUpdates(OVNLocationManager& manager) override;
  void locationManagerDidResumeLocationUpdates(OVNLocationManager& manager) override;
  void locationManagerDidFinishDeferredUpdatesWithError(OVNLocationManager& manager,
                                                        const std::shared_ptr<OVNError>& error) override;
  void locationManagerDidVisit(OVNLocationManager& manager, const OVNVisitRef& visit) override;

 private:
  bool accepts(const OVNLocation& location) const;
  // Calls updateBlock; true when it asked to stop (updates are then stopped, the block cleared).
  bool callUpdateBlock(OVNLocationManager& manager, const OVNLocationRef& location,
                       const std::shared_ptr<OVNError>& error);

  double updateAccuracyFilter_ = OVNCLUpdateAccuracyFilterNone;
  double updateLocationAgeFilter_ = OVNCLLocationAgeFilterNone;
  std::uint64_t authorizationDescription_ = 0;
};

using OVNCLLocationManagerBlocksRef = std::shared_ptr<OVNCLLocationManagerBlocks>;
