#include "Platform/Location/OVNLocationManager.h"

#include <algorithm>
#include <mutex>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Location/OVNGpsdLocationProvider.h"
#include "Platform/Location/OVNLocationError.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNLocationManager)

namespace {

// Process-wide state, guarded by `lock`; never destroyed, since managers may outlive main.
struct Shared {
  std::mutex lock;
  OVNAuthorizationStatus status = OVNAuthorizationStatusAuthorizedAlways;
  OVNLocationManager::ProviderFactory factory;
  std::vector<std::weak_ptr<OVNLocationManager>> managers;
};

Shared& shared() {
  static auto* state = new Shared;
  return *state;
}

OVNLocationProviderRef defaultProvider() {
  OVNLocationManager::ProviderFactory factory;
  {
    std::lock_guard guard(shared().lock);
    factory = shared().factory;
  }
  return factory ? factory() : std::make_shared<OVNGpsdLocationProvider>();
}

std::shared_ptr<OVNError> locationError(std::int64_t code, const std::string& reason) {
  return OVNError::errorWithDomain(OVNLocationErrorDomain, code, reason);
}

}  // namespace

OVNLocationManager::~OVNLocationManager() {
  if (providerRunning_ && provider_) provider_->stop();
}

void OVNLocationManager::didCreate() {
  std::lock_guard guard(shared().lock);
  auto& managers = shared().managers;
  std::erase_if(managers, [](const auto& manager) { return manager.expired(); });
  managers.push_back(std::static_pointer_cast<OVNLocationManager>(self()));
}

// ---- Authorization --------------------------------------------------------------------------

OVNAuthorizationStatus OVNLocationManager::authorizationStatus() {
  std::lock_guard guard(shared().lock);
  return shared().status;
}

void OVNLocationManager::setAuthorizationStatus(OVNAuthorizationStatus status) {
  std::vector<std::shared_ptr<OVNLocationManager>> managers;
  {
    std::lock_guard guard(shared().lock);
    if (shared().status == status) return;
    shared().status = status;
    for (const auto& weak : shared().managers) {
      if (auto manager = weak.lock()) managers.push_back(std::move(manager));
    }
  }
  for (const auto& manager : managers) {
    manager->post([status](OVNLocationManager& self, OVNLocationManagerDelegate& delegate) {
      delegate.locationManagerDidChangeAuthorizationStatus(self, status);
    });
  }
}

void OVNLocationManager::requestAuthorization(OVNAuthorizationStatus granted) {
  if (authorizationStatus() == OVNAuthorizationStatusNotDetermined) setAuthorizationStatus(granted);
}

void OVNLocationManager::requestWhenInUseAuthorization() {
  requestAuthorization(OVNAuthorizationStatusAuthorizedWhenInUse);
}

void OVNLocationManager::requestAlwaysAuthorization() { requestAuthorization(OVNAuthorizationStatusAuthorizedAlways); }

bool OVNLocationManager::authorizationAllowsUpdates() {
  const OVNAuthorizationStatus status = authorizationStatus();
  if (status != OVNAuthorizationStatusDenied && status != OVNAuthorizationStatusRestricted) return true;
  postFailure(OVNLocationErrorDenied, "Location services are not authorized for this application.");
  return false;
}

// ---- Delegate, attached objects, provider ---------------------------------------------------

void OVNLocationManager::post(std::function<void(OVNLocationManager&, OVNLocationManagerDelegate&)> event) {
  std::weak_ptr<OVNLocationManager> weak = std::static_pointer_cast<OVNLocationManager>(self());
  OVNDispatchQueue::main()->async([weak, event = std::move(event)] {
    auto manager = weak.lock();
    auto delegate = manager ? manager->delegate() : nullptr;
    if (delegate) event(*manager, *delegate);
  });
}

void OVNLocationManager::postFailure(std::int64_t code, const std::string& reason) {
  auto error = locationError(code, reason);
  post([error](OVNLocationManager& self, OVNLocationManagerDelegate& delegate) {
    delegate.locationManagerDidFailWithError(self, error);
  });
}

void OVNLocationManager::setAttachedObject(const std::string& key, std::shared_ptr<OVNObject> object) {
  if (object) {
    attached_[key] = std::move(object);
  } else {
    attached_.erase(key);
  }
}

std::shared_ptr<OVNObject> OVNLocationManager::attachedObject(const std::string& key) const {
  const auto found = attached_.find(key);
  return found == attached_.end() ? nullptr : found->second;
}

void OVNLocationManager::setProvider(OVNLocationProviderRef provider) {
  if (providerRunning_ && provider_) provider_->stop();
  providerRunning_ = false;
  provider_ = std::move(provider);
  updateProviderRunning();
}

void OVNLocationManager::setDefaultProviderFactory(ProviderFactory factory) {
  std::lock_guard guard(shared().lock);
  shared().factory = std::move(factory);
}

void OVNLocationManager::updateProviderRunning() {
  const bool needed = updatingLocation_ || updatingHeading_ || !regions_.empty();
  if (needed == providerRunning_) return;
  providerRunning_ = needed;
  ++providerGeneration_;
  if (!needed) {
    if (provider_) provider_->stop();
    return;
  }
  if (!provider_) provider_ = defaultProvider();
  if (!provider_) {
    providerRunning_ = false;
    postFailure(OVNLocationErrorLocationUnknown, "No location provider is available.");
    return;
  }
  // Reports come from the provider's thread; each is taken to the main queue and dropped
  // there if the run it belongs to has ended or the manager is gone.
  std::weak_ptr<OVNLocationManager> weak = std::static_pointer_cast<OVNLocationManager>(self());
  const std::uint64_t generation = providerGeneration_;
  auto onMain = [weak, generation](auto handle) {
    OVNDispatchQueue::main()->async([weak, generation, handle = std::move(handle)] {
      auto manager = weak.lock();
      if (manager && manager->providerRunning_ && manager->providerGeneration_ == generation) handle(*manager);
    });
  };
  provider_->start(OVNLocationProvider::Callbacks{
      [onMain](const OVNLocationRef& location) {
        onMain([location](OVNLocationManager& manager) { manager.didReceiveLocation(location); });
      },
      [onMain](const OVNHeadingRef& heading) {
        onMain([heading](OVNLocationManager& manager) { manager.didReceiveHeading(heading); });
      },
      [onMain](const std::shared_ptr<OVNError>& error) {
        onMain([error](OVNLocationManager& manager) { manager.didReceiveFailure(error); });
      }});
}

// ---- Updates --------------------------------------------------------------------------------

void OVNLocationManager::startUpdatingLocation() {
  if (!authorizationAllowsUpdates()) return;
  updatingLocation_ = true;
  updateProviderRunning();
}

void OVNLocationManager::stopUpdatingLocation() {
  updatingLocation_ = false;
  updateProviderRunning();
}

void OVNLocationManager::startUpdatingHeading() {
  if (!authorizationAllowsUpdates()) return;
  updatingHeading_ = true;
  updateProviderRunning();
}

void OVNLocationManager::stopUpdatingHeading() {
  updatingHeading_ = false;
  updateProviderRunning();
}

void OVNLocationManager::didReceiveLocation(const OVNLocationRef& location) {
  if (!location) return;
  location_ = location;
  updateRegions(location);
  auto delegate = this->delegate();
  if (updatingLocation_ && delegate) delegate->locationManagerDidUpdateLocations(*this, {location});
}

void OVNLocationManager::didReceiveHeading(const OVNHeadingRef& heading) {
  if (!heading || !updatingHeading_) return;
  heading_ = heading;
  if (auto delegate = this->delegate()) delegate->locationManagerDidUpdateHeading(*this, heading);
}

void OVNLocationManager::didReceiveFailure(const std::shared_ptr<OVNError>& error) {
  if (auto delegate = this->delegate()) delegate->locationManagerDidFailWithError(*this, error);
}

// ---- Regions --------------------------------------------------------------------------------

void OVNLocationManager::startMonitoringForRegion(const OVNRegionRef& region) {
  if (!region) return;
  auto circle = std::dynamic_pointer_cast<OVNCircularRegion>(region);
  const OVNAuthorizationStatus status = authorizationStatus();
  const char* refusal = nullptr;
  if (!circle) {
    refusal = "Only circular regions can be monitored.";
  } else if (!(circle->radius() >= 0) || !OVNLocationCoordinate2DIsValid(circle->center())) {
    refusal = "The region's centre or radius is not valid.";
  } else if (status != OVNAuthorizationStatusAuthorizedAlways && status != OVNAuthorizationStatusNotDetermined) {
    refusal = "Region monitoring needs the \"always\" authorization.";
  }
  if (refusal) {
    auto error = locationError(OVNLocationErrorRegionMonitoringFailure, refusal);
    post([region, error](OVNLocationManager& self, OVNLocationManagerDelegate& delegate) {
      delegate.locationManagerMonitoringDidFailForRegion(self, region, error);
    });
    return;
  }
  regions_[circle->identifier()] = Monitored{circle, OVNRegionStateUnknown};
  post([region](OVNLocationManager& self, OVNLocationManagerDelegate& delegate) {
    delegate.locationManagerDidStartMonitoringForRegion(self, region);
  });
  updateProviderRunning();
}

void OVNLocationManager::stopMonitoringForRegion(const OVNRegionRef& region) {
  if (!region) return;
  regions_.erase(region->identifier());
  updateProviderRunning();
}

std::vector<OVNRegionRef> OVNLocationManager::monitoredRegions() const {
  std::vector<OVNRegionRef> regions;
  for (const auto& [identifier, monitored] : regions_) regions.push_back(monitored.region);
  return regions;
}

void OVNLocationManager::requestStateForRegion(const OVNRegionRef& region) {
  if (!region) return;
  const auto found = regions_.find(region->identifier());
  const OVNRegionState state = found == regions_.end() ? OVNRegionStateUnknown : found->second.state;
  post([region, state](OVNLocationManager& self, OVNLocationManagerDelegate& delegate) {
    delegate.locationManagerDidDetermineState(self, state, region);
  });
}

void OVNLocationManager::updateRegions(const OVNLocationRef& location) {
  // Collected first: a delegate may start or stop monitoring from its callbacks.
  std::vector<std::pair<Monitored, OVNRegionState>> changes;
  for (auto& [identifier, monitored] : regions_) {
    const OVNRegionState state =
        monitored.region->containsCoordinate(location->coordinate()) ? OVNRegionStateInside : OVNRegionStateOutside;
    if (state == monitored.state) continue;
    changes.emplace_back(monitored, state);
    monitored.state = state;
  }
  for (const auto& [before, state] : changes) {
    auto delegate = this->delegate();
    if (!delegate) return;
    const OVNRegionRef region = before.region;
    delegate->locationManagerDidDetermineState(*this, state, region);
    if (before.state == OVNRegionStateUnknown) continue;
    if (state == OVNRegionStateInside && region->notifyOnEntry())
      delegate->locationManagerDidEnterRegion(*this, region);
    if (state == OVNRegionStateOutside && region->notifyOnExit()) delegate->locationManagerDidExitRegion(*this, region);
  }
}
