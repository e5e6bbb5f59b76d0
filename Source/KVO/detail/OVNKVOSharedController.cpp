#include "KVO/detail/OVNKVOSharedController.h"

#include "Platform/System/OVNConsoleLog.h"

namespace ovn::detail {

OVNKVOSharedController& OVNKVOSharedController::sharedController() {
  // Made once and never destroyed: registrations may be removed during static teardown.
  static auto* instance = new std::shared_ptr<OVNKVOSharedController>(OVNMake<OVNKVOSharedController>());
  return **instance;
}

void OVNKVOSharedController::observe(const OVNObjectRef& object, const std::shared_ptr<OVNKVOInfo>& info) {
  if (!info || !object) return;
  {
    std::lock_guard guard(mutex_);
    for (auto it = infos_.begin(); it != infos_.end();) {  // forget infos that went away
      it = it->second.expired() ? infos_.erase(it) : std::next(it);
    }
    infos_[info.get()] = info;
  }
  object->addObserver(*this, info->keyPath, info->options, info.get());

  std::uint64_t expected = OVNKVOInfo::Initial;
  if (!info->state.compare_exchange_strong(expected, OVNKVOInfo::Observing) && expected == OVNKVOInfo::NotObserving) {
    // Unobserved while this registration was being made: take it back at once.
    object->removeObserver(*this, info->keyPath, info.get());
  }
}

void OVNKVOSharedController::finish(const OVNObjectRef& object, OVNKVOInfo& info) {
  if (info.state.exchange(OVNKVOInfo::NotObserving) == OVNKVOInfo::Observing) {
    object->removeObserver(*this, info.keyPath, &info);
  }
}

void OVNKVOSharedController::unobserve(const OVNObjectRef& object, const std::shared_ptr<OVNKVOInfo>& info) {
  if (!info || !object) return;
  {
    std::lock_guard guard(mutex_);
    infos_.erase(info.get());
  }
  finish(object, *info);
}

void OVNKVOSharedController::unobserve(const OVNObjectRef& object,
                                       const std::vector<std::shared_ptr<OVNKVOInfo>>& infos) {
  if (infos.empty() || !object) return;
  {
    std::lock_guard guard(mutex_);
    for (const auto& info : infos) infos_.erase(info.get());
  }
  for (const auto& info : infos) finish(object, *info);
}

void OVNKVOSharedController::observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef& object,
                                                    const OVNDictionaryRef& change, void* context) {
  std::shared_ptr<OVNKVOInfo> info;
  {
    std::lock_guard guard(mutex_);
    auto it = infos_.find(static_cast<const OVNKVOInfo*>(context));
    if (it != infos_.end()) info = it->second.lock();
  }
  // A debugging trace on every notification, found or not.
  OVNConsoleLog::writeFormat("OBSERVE: %@.%@", OVNValue(object), keyPath);
  if (!info) return;
  auto controller = info->controller.lock();
  auto observer = controller ? controller->observer() : nullptr;
  if (!observer) return;
  if (info->block) {
    info->block(observer, object, change);
  } else if (info->action) {
    info->action(*observer, change, object);
  } else {
    // The generic handler receives the info itself as context, not the caller's value.
    observer->observeValueForKeyPath(keyPath, object, change, info.get());
  }
}

}  // namespace ovn::detail
