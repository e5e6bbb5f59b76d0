#pragma once
// OVNApplication: the application object, as far as the library needs one. Today it holds
// the system's network-activity indicator: a flag that a desktop shell, tray icon or
// status bar of the application shows however it likes. The library only sets it; the
// application observes it, either through key-value observation of
// "networkActivityIndicatorVisible" or through the notification
// OVNApplicationNetworkActivityIndicatorDidChangeNotification (object: the application).
//
// Thread-safe: any thread may read or set the flag. Observers and notification blocks run
// synchronously on the setting thread, with no lock held (the notification centre's
// observers with a queue run there instead). Two threads setting the same new value at
// once may both announce it; only the one that changed it posts the notification.

#include <atomic>
#include <memory>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

//! Posted on OVNNotificationCenter::defaultCenter() after the indicator's flag changed.
inline constexpr std::string_view OVNApplicationNetworkActivityIndicatorDidChangeNotification =
    "OVNApplicationNetworkActivityIndicatorDidChangeNotification";

//! Posted by the application, on OVNNotificationCenter::defaultCenter(), when the system is
//! short of memory; every OVNMemoryStore then drops its least recently used half.
inline constexpr std::string_view OVNApplicationDidReceiveMemoryWarningNotification =
    "UIApplicationDidReceiveMemoryWarningNotification";

class OVN_EXPORT OVNApplication : public OVNObject {
  OVN_CLASS_NAMED(OVNApplication, OVNObject, "UIApplication")

 public:
  OVNApplication() = default;

  //! The process's application object, made on first use and never destroyed (so that
  //! code running at exit may still set the flag).
  static const std::shared_ptr<OVNApplication>& sharedApplication();

  //! Whether the network-activity indicator should show; false at start.
  bool isNetworkActivityIndicatorVisible() const { return networkActivityIndicatorVisible_.load(); }
  //! Stores the flag; a real change is announced to key-value observers and then posted
  //! as OVNApplicationNetworkActivityIndicatorDidChangeNotification. Setting the value it
  //! already has does nothing.
  void setNetworkActivityIndicatorVisible(bool visible);
  //! The key-value coding accessor of "networkActivityIndicatorVisible" (the key keeps the
  //! platform's name, without "is").
  bool networkActivityIndicatorVisible() const { return isNetworkActivityIndicatorVisible(); }

  //! The setter announces its change itself.
  bool automaticallyNotifiesObserversForKey(std::string_view key) const override;

 private:
  std::atomic<bool> networkActivityIndicatorVisible_{false};
};
