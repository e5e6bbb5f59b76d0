#pragma once
// Callback operations added to the location manager: managers with update filters,
// authorization requests, location or heading updates with one callback, and one callback
// per delegate event. They work through the manager's blocks delegate
// (OVNCLLocationManagerBlocks), which the manager owns.
//
// Names: the platform operations keep their own names, without the ovn_ prefix. The third
// argument of updateManagerWithAccuracy is the selector part authorizationDesciption,
// spelt that way on purpose.
//
// Threads: the manager's (the main thread); callbacks run there.

#include <cstdint>
#include <memory>

#include "Location/OVNCLLocationManagerBlocks.h"
#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationManager.h"

// ---- Making managers (class operations) ------------------------------------------------------
//! A manager with the default settings and provider.
OVN_EXPORT OVNLocationManagerRef updateManager();
OVN_EXPORT OVNLocationManagerRef updateManagerWithAccuracy(double accuracy, double locationAge);
OVN_EXPORT OVNLocationManagerRef updateManagerWithAccuracy(double accuracy, double locationAge,
                                                           std::uint64_t authorizationDesciption);
//! True for the statuses "not determined", "always" and "when in use".
OVN_EXPORT bool isLocationUpdatesAvailable();

// ---- The blocks delegate ---------------------------------------------------------------------
//! The manager's blocks delegate, made, set as its delegate and owned by it on first use.
OVN_EXPORT OVNCLLocationManagerBlocksRef blocksDelegate(OVNLocationManager& manager);
//! Always a new blocks delegate (filters and callbacks start empty), set and owned as above.
OVN_EXPORT OVNCLLocationManagerBlocksRef setBlocksDelegate(OVNLocationManager& manager);

OVN_EXPORT double updateAccuracyFilter(OVNLocationManager& manager);
OVN_EXPORT void setUpdateAccuracyFilter(OVNLocationManager& manager, double accuracy);
OVN_EXPORT double updateLocationAgeFilter(OVNLocationManager& manager);
OVN_EXPORT void setUpdateLocationAgeFilter(OVNLocationManager& manager, double age);
OVN_EXPORT std::uint64_t authorizationDescription(OVNLocationManager& manager);
OVN_EXPORT void setAuthorizationDescription(OVNLocationManager& manager, std::uint64_t description);

// ---- Updates ---------------------------------------------------------------------------------
//! Sets updateBlock, logs "Starting location updates" (debug level), requests authorization
//! and starts location updates.
OVN_EXPORT void startUpdatingLocationWithUpdateBlock(OVNLocationManager& manager, OVNCLLocationUpdateBlock block);
//! Sets headingUpdateBlock, logs "Starting heading updatess" (kept as it always was),
//! requests authorization and starts heading updates.
OVN_EXPORT void startUpdatingHeadingWithUpdateBlock(OVNLocationManager& manager, OVNCLHeadingUpdateBlock block);
//! Only while the status is "not determined": when-in-use authorization when the
//! description is 1, else "always". Otherwise nothing.
OVN_EXPORT void requestAuthorization(OVNLocationManager& manager);

// ---- One callback per event ------------------------------------------------------------------
OVN_EXPORT void didUpdateLocationsWithBlock(OVNLocationManager& manager, OVNCLDidUpdateLocationsBlock block);
OVN_EXPORT void didUpdateHeadingWithBlock(OVNLocationManager& manager, OVNCLDidUpdateHeadingBlock block);
OVN_EXPORT void shouldDisplayHeadingCalibrationWithBlock(OVNLocationManager& manager,
                                                         OVNCLShouldDisplayCalibrationBlock block);
OVN_EXPORT void didDetermineStateWithBlock(OVNLocationManager& manager, OVNCLDidDetermineStateBlock block);
OVN_EXPORT void didRangeBeaconsWithBlock(OVNLocationManager& manager, OVNCLDidRangeBeaconsBlock block);
OVN_EXPORT void rangingBeaconsDidFailForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionErrorBlock block);
OVN_EXPORT void didEnterRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block);
OVN_EXPORT void didExitRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block);
OVN_EXPORT void didFailWithErrorWithBlock(OVNLocationManager& manager, OVNCLErrorBlock block);
OVN_EXPORT void monitoringDidFailForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionErrorBlock block);
OVN_EXPORT void didChangeAuthorizationStatusWithBlock(OVNLocationManager& manager,
                                                      OVNCLDidChangeAuthorizationStatusBlock block);
OVN_EXPORT void didStartMonitoringForRegionWithBlock(OVNLocationManager& manager, OVNCLRegionBlock block);
OVN_EXPORT void locationManagerDidPauseLocationUpdatesWithBlock(OVNLocationManager& manager, OVNCLManagerBlock block);
OVN_EXPORT void locationManagerDidResumeLocationUpdatesWithBlock(OVNLocationManager& manager, OVNCLManagerBlock block);
OVN_EXPORT void didFinishDeferredUpdatesWithErrorWithBlock(OVNLocationManager& manager, OVNCLErrorBlock block);
OVN_EXPORT void didVisitWithBlock(OVNLocationManager& manager, OVNCLDidVisitBlock block);
