#pragma once
// OVNNotificationCenter: delivers posted notifications to the observers registered for
// their name and object.
//
// Any thread may add or remove observers and post. An observer without a queue is called
// synchronously on the posting thread; with a queue, its block is posted there (async).
// No lock is held while observers run, so they may post, add and remove observers. An
// observer removed while a post is under way is not called by it afterwards, but a call
// already running on another thread (or already queued) may still finish after removal.
// The center keeps each observer's block until the observer is removed.

#include <functional>
#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNNotification.h"

class OVN_EXPORT OVNNotificationCenter {
 public:
  using Block = std::function<void(const OVNNotification&)>;
  class Observer;  // opaque; defined in the .cpp
  using ObserverToken = std::shared_ptr<Observer>;

  OVNNotificationCenter();
  ~OVNNotificationCenter();
  OVNNotificationCenter(const OVNNotificationCenter&) = delete;
  OVNNotificationCenter& operator=(const OVNNotificationCenter&) = delete;

  static OVNNotificationCenter& defaultCenter();

  //! Registers `block` for notifications named `name` (empty: every name) posted with
  //! `object` (null: any object; compared by identity, and matching nothing once that
  //! object is gone). The block runs on `queue`, or on the posting thread when it is null.
  //! Keep the token to remove the observer.
  ObserverToken addObserver(std::string name, const OVNObjectRef& object, OVNDispatchQueueRef queue, Block block);
  //! Unregisters; a null or already removed token is ignored.
  void removeObserver(const ObserverToken& token);

  void post(const OVNNotification& notification);
  void post(std::string name, OVNObjectRef object = nullptr, OVNDictionaryRef userInfo = nullptr);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};
