#include "Platform/Dispatch/OVNNotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

#include "Platform/Objects/OVNException.h"

class OVNNotificationCenter::Observer {
 public:
  Observer(std::string name, const OVNObjectRef& object, OVNDispatchQueueRef queue, Block block)
      : name(std::move(name)),
        object(object.get()),
        objectOwner(object),
        objectTracked(object.use_count() > 0),
        queue(std::move(queue)),
        block(std::move(block)) {}

  bool matches(const OVNNotification& notification) const {
    if (!name.empty() && name != notification.name()) return false;
    if (!object) return true;
    // Compared by address; the weak reference tells a dead object from a new one there.
    return notification.object().get() == object && !(objectTracked && objectOwner.expired());
  }

  const std::string name;
  const OVNObject* const object;
  const std::weak_ptr<OVNObject> objectOwner;
  const bool objectTracked;  // false for an object not held by a shared_ptr
  const OVNDispatchQueueRef queue;
  const Block block;
  std::atomic<bool> registered{true};
};

class OVNNotificationCenter::Impl {
 public:
  std::mutex lock;
  std::vector<ObserverToken> observers;  // under lock, in registration order
};

OVNNotificationCenter::OVNNotificationCenter() : impl_(std::make_unique<Impl>()) {}
OVNNotificationCenter::~OVNNotificationCenter() = default;

OVNNotificationCenter& OVNNotificationCenter::defaultCenter() {
  // Never destroyed: observers may post while static objects are torn down at exit.
  static OVNNotificationCenter* const center = new OVNNotificationCenter();
  return *center;
}

OVNNotificationCenter::ObserverToken OVNNotificationCenter::addObserver(std::string name, const OVNObjectRef& object,
                                                                        OVNDispatchQueueRef queue, Block block) {
  if (!block) OVNException::raise(OVNInvalidArgumentException, "an observer needs a block");
  auto observer = std::make_shared<Observer>(std::move(name), object, std::move(queue), std::move(block));
  std::lock_guard guard(impl_->lock);
  impl_->observers.push_back(observer);
  return observer;
}

void OVNNotificationCenter::removeObserver(const ObserverToken& token) {
  if (!token) return;
  token->registered.store(false, std::memory_order_release);
  ObserverToken removed;  // the block's captures are released outside the lock
  std::lock_guard guard(impl_->lock);
  auto it = std::find(impl_->observers.begin(), impl_->observers.end(), token);
  if (it == impl_->observers.end()) return;
  removed = std::move(*it);
  impl_->observers.erase(it);
}

void OVNNotificationCenter::post(const OVNNotification& notification) {
  std::vector<ObserverToken> matching;
  {
    std::lock_guard guard(impl_->lock);
    for (const auto& observer : impl_->observers) {
      if (observer->matches(notification)) matching.push_back(observer);
    }
  }
  std::shared_ptr<const OVNNotification> queued;  // one copy shared by the queued deliveries
  for (const auto& observer : matching) {
    if (!observer->registered.load(std::memory_order_acquire)) continue;
    if (!observer->queue) {
      observer->block(notification);
      continue;
    }
    if (!queued) queued = std::make_shared<const OVNNotification>(notification);
    observer->queue->async([observer, queued] {
      if (observer->registered.load(std::memory_order_acquire)) observer->block(*queued);
    });
  }
}

void OVNNotificationCenter::post(std::string name, OVNObjectRef object, OVNDictionaryRef userInfo) {
  post(OVNNotification(std::move(name), std::move(object), std::move(userInfo)));
}
