#pragma once
// The location service (CLLocationManager): fixes, headings and region monitoring from a
// provider (OVNLocationProvider), told to a delegate on the main queue.
//
// Threads: make and use a manager on the main thread; every delegate call runs there (from
// the main queue), whatever thread the provider reports on. Reports that arrive after the
// updates they belong to were stopped are dropped. The authorization status and the default
// provider are process-wide and may be read and set from any thread.
//
// Providers: the one set with setProvider, else one from the default provider factory (the
// gpsd provider unless the application sets another). The manager runs its provider while
// it updates locations or headings or monitors a region, and stops it otherwise.
//
// Authorization: Linux has no permission prompt, so the status is "always" unless the
// application sets another (setAuthorizationStatus, for a setting of its own or for tests).
// A request while it is "not determined" grants what was asked and tells every manager's
// delegate. Starting updates while the status is "denied" or "restricted" fails with
// OVNLocationErrorDenied instead.
//
// Regions: circular regions only (others fail with OVNLocationErrorRegionMonitoringFailure).
// Each fix decides inside or outside; a change of state is reported as determined, and a
// change between inside and outside (not the first state found) as an entry or exit when
// the region asks for it. Beacons, visits, pauses and deferred updates have no source on
// Linux; delegates still receive them from providers or code that report them.

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNCircularRegion.h"
#include "Platform/Location/OVNLocationManagerDelegate.h"
#include "Platform/Location/OVNLocationProvider.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNLocationManager : public OVNObject {
  OVN_CLASS_NAMED(OVNLocationManager, OVNObject, "CLLocationManager")

 public:
  using ProviderFactory = std::function<OVNLocationProviderRef()>;

  OVNLocationManager() = default;
  ~OVNLocationManager() override;
  static std::shared_ptr<OVNLocationManager> init() { return OVNMake<OVNLocationManager>(); }

  // ---- Authorization (process-wide) --------------------------------------------------------
  static OVNAuthorizationStatus authorizationStatus();
  //! Tells every manager's delegate when the status changes.
  static void setAuthorizationStatus(OVNAuthorizationStatus status);
  static bool locationServicesEnabled() { return true; }
  void requestWhenInUseAuthorization();
  void requestAlwaysAuthorization();
  //! Whether this manager offers requestWhenInUseAuthorization (always, here).
  bool offersWhenInUseAuthorization() const { return true; }

  // ---- Delegate and provider ---------------------------------------------------------------
  //! Held weakly, as delegates are.
  std::shared_ptr<OVNLocationManagerDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::shared_ptr<OVNLocationManagerDelegate>& delegate) { delegate_ = delegate; }
  //! An object kept alive as long as the manager under `key` (null removes it), for helpers
  //! that must own what they make the delegate.
  void setAttachedObject(const std::string& key, std::shared_ptr<OVNObject> object);
  std::shared_ptr<OVNObject> attachedObject(const std::string& key) const;

  OVNLocationProviderRef provider() const { return provider_; }
  //! Replaces the provider; a running one is stopped and the new one started.
  void setProvider(OVNLocationProviderRef provider);
  //! The factory that gives managers without a provider theirs; null restores the default
  //! (gpsd on localhost).
  static void setDefaultProviderFactory(ProviderFactory factory);

  // ---- Updates -----------------------------------------------------------------------------
  void startUpdatingLocation();
  void stopUpdatingLocation();
  void startUpdatingHeading();
  void stopUpdatingHeading();
  bool isUpdatingLocation() const { return updatingLocation_; }
  bool isUpdatingHeading() const { return updatingHeading_; }
  //! The latest fix and heading; null before the first.
  OVNLocationRef location() const { return location_; }
  OVNHeadingRef heading() const { return heading_; }

  // ---- Regions -----------------------------------------------------------------------------
  //! Replaces a monitored region of the same identifier.
  void startMonitoringForRegion(const OVNRegionRef& region);
  void stopMonitoringForRegion(const OVNRegionRef& region);
  std::vector<OVNRegionRef> monitoredRegions() const;
  //! Reports the region's current state (unknown before a fix) as determined.
  void requestStateForRegion(const OVNRegionRef& region);

 protected:
  //! Joins the managers that hear of authorization changes.
  void didCreate() override;

 private:
  struct Monitored {
    std::shared_ptr<OVNCircularRegion> region;
    OVNRegionState state = OVNRegionStateUnknown;
  };

  // Runs `event` with the delegate on the main queue, unless this manager is gone by then.
  void post(std::function<void(OVNLocationManager&, OVNLocationManagerDelegate&)> event);
  void postFailure(std::int64_t code, const std::string& reason);
  bool authorizationAllowsUpdates();
  void updateProviderRunning();
  void didReceiveLocation(const OVNLocationRef& location);
  void didReceiveHeading(const OVNHeadingRef& heading);
  void didReceiveFailure(const std::shared_ptr<OVNError>& error);
  void updateRegions(const OVNLocationRef& location);
  void requestAuthorization(OVNAuthorizationStatus granted);

  std::weak_ptr<OVNLocationManagerDelegate> delegate_;
  std::map<std::string, std::shared_ptr<OVNObject>> attached_;
  OVNLocationProviderRef provider_;
  bool providerRunning_ = false;
  std::uint64_t providerGeneration_ = 0;  // reports of an earlier run are dropped
  bool updatingLocation_ = false;
  bool updatingHeading_ = false;
  OVNLocationRef location_;
  OVNHeadingRef heading_;
  std::map<std::string, Monitored> regions_;
};

using OVNLocationManagerRef = std::shared_ptr<OVNLocationManager>;
