#pragma once
// What a location manager tells its delegate (CLLocationManagerDelegate). Every event has a
// default that does nothing (and no calibration display), so a delegate overrides only the
// events it wants. The manager calls them on the main thread.

#include <cstdint>
#include <memory>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNBeacon.h"
#include "Platform/Location/OVNHeading.h"
#include "Platform/Location/OVNLocation.h"
#include "Platform/Location/OVNRegion.h"
#include "Platform/Location/OVNVisit.h"
#include "Platform/Objects/OVNError.h"

class OVNLocationManager;

//! Whether the application may use location services (CLAuthorizationStatus).
using OVNAuthorizationStatus = std::int64_t;
inline constexpr OVNAuthorizationStatus OVNAuthorizationStatusNotDetermined = 0;
inline constexpr OVNAuthorizationStatus OVNAuthorizationStatusRestricted = 1;
inline constexpr OVNAuthorizationStatus OVNAuthorizationStatusDenied = 2;
inline constexpr OVNAuthorizationStatus OVNAuthorizationStatusAuthorizedAlways = 3;
inline constexpr OVNAuthorizationStatus OVNAuthorizationStatusAuthorizedWhenInUse = 4;

class OVN_EXPORT OVNLocationManagerDelegate {
 public:
  virtual ~OVNLocationManagerDelegate() = default;

  //! New fixes, oldest first.
  virtual void locationManagerDidUpdateLocations(OVNLocationManager&, const std::vector<OVNLocationRef>&) {}
  //! The older single-fix form; the manager itself reports through the list form only.
  virtual void locationManagerDidUpdateToLocation(OVNLocationManager&, const OVNLocationRef& /*newLocation*/,
                                                  const OVNLocationRef& /*oldLocation*/) {}
  virtual void locationManagerDidUpdateHeading(OVNLocationManager&, const OVNHeadingRef&) {}
  virtual bool locationManagerShouldDisplayHeadingCalibration(OVNLocationManager&) { return false; }
  virtual void locationManagerDidDetermineState(OVNLocationManager&, OVNRegionState, const OVNRegionRef&) {}
  virtual void locationManagerDidRangeBeacons(OVNLocationManager&, const std::vector<OVNBeaconRef>&,
                                              const OVNRegionRef&) {}
  virtual void locationManagerRangingBeaconsDidFailForRegion(OVNLocationManager&, const OVNRegionRef&,
                                                             const std::shared_ptr<OVNError>&) {}
  virtual void locationManagerDidEnterRegion(OVNLocationManager&, const OVNRegionRef&) {}
  virtual void locationManagerDidExitRegion(OVNLocationManager&, const OVNRegionRef&) {}
  virtual void locationManagerDidFailWithError(OVNLocationManager&, const std::shared_ptr<OVNError>&) {}
  virtual void locationManagerMonitoringDidFailForRegion(OVNLocationManager&, const OVNRegionRef&,
                                                         const std::shared_ptr<OVNError>&) {}
  virtual void locationManagerDidChangeAuthorizationStatus(OVNLocationManager&, OVNAuthorizationStatus) {}
  virtual void locationManagerDidStartMonitoringForRegion(OVNLocationManager&, const OVNRegionRef&) {}
  virtual void locationManagerDidPauseLocationUpdates(OVNLocationManager&) {}
  virtual void locationManagerDidResumeLocationUpdates(OVNLocationManager&) {}
  virtual void locationManagerDidFinishDeferredUpdatesWithError(OVNLocationManager&, const std::shared_ptr<OVNError>&) {
  }
  virtual void locationManagerDidVisit(OVNLocationManager&, const OVNVisitRef&) {}
};
