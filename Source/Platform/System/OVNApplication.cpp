#include "Platform/System/OVNApplication.h"

#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNApplication, (networkActivityIndicatorVisible, setNetworkActivityIndicatorVisible))

namespace {
constexpr std::string_view visibleKey = "networkActivityIndicatorVisible";
}

const std::shared_ptr<OVNApplication>& OVNApplication::sharedApplication() {
  // Leaked on purpose: static destructors at exit may still reach the application.
  static const auto* application = new std::shared_ptr<OVNApplication>(OVNMake<OVNApplication>());
  return *application;
}

void OVNApplication::setNetworkActivityIndicatorVisible(bool visible) {
  if (isNetworkActivityIndicatorVisible() == visible) return;
  willChangeValueForKey(visibleKey);
  const bool previous = networkActivityIndicatorVisible_.exchange(visible);
  didChangeValueForKey(visibleKey);
  if (previous == visible) return;  // another thread made the same change first
  OVNNotificationCenter::defaultCenter().post(std::string(OVNApplicationNetworkActivityIndicatorDidChangeNotification),
                                              self());
}

bool OVNApplication::automaticallyNotifiesObserversForKey(std::string_view key) const {
  if (key == visibleKey) return false;
  return OVNObject::automaticallyNotifiesObserversForKey(key);
}
