#include "KVO/OVNKVOController.h"

#include "KVO/detail/OVNKVOInfo.h"
#include "KVO/detail/OVNKVOSharedController.h"
#include "Platform/Objects/OVNProperties.h"

using ovn::detail::OVNKVOInfo;
using ovn::detail::OVNKVOSharedController;

OVN_PROPERTIES(OVNKVOController)

std::size_t OVNKVOController::InfoHash::operator()(const std::shared_ptr<OVNKVOInfo>& info) const {
  return info->hash();
}

bool OVNKVOController::InfoEqual::operator()(const std::shared_ptr<OVNKVOInfo>& a,
                                             const std::shared_ptr<OVNKVOInfo>& b) const {
  return a->isEqual(b.get());
}

std::shared_ptr<OVNKVOController> OVNKVOController::controllerWithObserver(OVNObject& observer) {
  return initWithObserver(observer);
}

std::shared_ptr<OVNKVOController> OVNKVOController::initWithObserver(OVNObject& observer) {
  return initWithObserver(observer, true);
}

std::shared_ptr<OVNKVOController> OVNKVOController::initWithObserver(OVNObject& observer, bool retainObserved) {
  return OVNMake<OVNKVOController>(observer, retainObserved);
}

OVNKVOController::OVNKVOController(OVNObject& observer, bool retainObserved)
    : observer_(observer.weak_from_this()), retainObserved_(retainObserved) {}

OVNKVOController::~OVNKVOController() { unobserveAll(); }

// ---- registration forms -----------------------------------------------------------------

void OVNKVOController::observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options,
                               OVNKVONotificationBlock block) {
  if (!object || keyPath.empty() || !block) return;
  auto self = std::static_pointer_cast<OVNKVOController>(this->self());
  observe(object, std::make_shared<OVNKVOInfo>(self, std::string(keyPath), options, std::move(block)));
}

void OVNKVOController::observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options,
                               OVNKVOAction action) {
  if (!object || keyPath.empty() || !action) return;
  auto self = std::static_pointer_cast<OVNKVOController>(this->self());
  observe(object, std::make_shared<OVNKVOInfo>(self, std::string(keyPath), options, OVNKVONotificationBlock{},
                                               std::move(action)));
}

void OVNKVOController::observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options,
                               void* context) {
  if (!object || keyPath.empty()) return;
  auto self = std::static_pointer_cast<OVNKVOController>(this->self());
  observe(object, std::make_shared<OVNKVOInfo>(self, std::string(keyPath), options, OVNKVONotificationBlock{},
                                               OVNKVOAction{}, context));
}

void OVNKVOController::observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths,
                               std::uint64_t options, OVNKVONotificationBlock block) {
  if (!object || !block || keyPaths.empty()) return;
  for (const auto& keyPath : keyPaths) observe(object, keyPath, options, block);
}

void OVNKVOController::observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths,
                               std::uint64_t options, OVNKVOAction action) {
  if (!object || !action || keyPaths.empty()) return;
  for (const auto& keyPath : keyPaths) observe(object, keyPath, options, action);
}

void OVNKVOController::observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths,
                               std::uint64_t options, void* context) {
  if (!object) return;
  for (const auto& keyPath : keyPaths) observe(object, keyPath, options, context);
}

// ---- map bookkeeping --------------------------------------------------------------------

OVNKVOController::ObservedEntry* OVNKVOController::entryFor(const OVNObject& object) {
  auto it = objectInfosMap_.find(&object);
  if (it == objectInfosMap_.end()) return nullptr;
  if (!retainObserved_ && it->second.weak.expired()) {
    // The object went away and its address was reused: the old entry is stale.
    objectInfosMap_.erase(it);
    return nullptr;
  }
  return &it->second;
}

void OVNKVOController::observe(const OVNObjectRef& object, std::shared_ptr<OVNKVOInfo> info) {
  {
    std::lock_guard guard(lock_);
    ObservedEntry* entry = entryFor(*object);
    if (entry && entry->infos.count(info)) return;  // one info per object and key path
    if (!entry) {
      ObservedEntry fresh;
      if (retainObserved_) fresh.strong = object;
      fresh.weak = object;
      entry = &objectInfosMap_.emplace(object.get(), std::move(fresh)).first->second;
    }
    entry->infos.insert(info);
  }
  OVNKVOSharedController::sharedController().observe(object, info);
}

void OVNKVOController::unobserve(const OVNObjectRef& object, std::string_view keyPath) {
  if (!object) return;
  auto probe = std::make_shared<OVNKVOInfo>(std::weak_ptr<OVNKVOController>(), std::string(keyPath));
  unobserve(object, probe);
}

void OVNKVOController::unobserve(const OVNObjectRef& object, const std::shared_ptr<OVNKVOInfo>& info) {
  std::shared_ptr<OVNKVOInfo> registered;
  {
    std::lock_guard guard(lock_);
    if (ObservedEntry* entry = entryFor(*object)) {
      auto it = entry->infos.find(info);
      if (it != entry->infos.end()) {
        registered = *it;
        entry->infos.erase(it);
        if (entry->infos.empty()) objectInfosMap_.erase(object.get());
      }
    }
  }
  OVNKVOSharedController::sharedController().unobserve(object, registered);
}

void OVNKVOController::unobserve(const OVNObjectRef& object) {
  if (!object) return;
  std::vector<std::shared_ptr<OVNKVOInfo>> infos;
  {
    std::lock_guard guard(lock_);
    if (ObservedEntry* entry = entryFor(*object)) {
      infos.assign(entry->infos.begin(), entry->infos.end());
      objectInfosMap_.erase(object.get());
    }
  }
  OVNKVOSharedController::sharedController().unobserve(object, infos);
}

void OVNKVOController::unobserveAll() {
  ObjectInfosMap map;
  {
    std::lock_guard guard(lock_);
    map.swap(objectInfosMap_);
  }
  for (auto& [address, entry] : map) {
    OVNObjectRef object = entry.strong ? entry.strong : entry.weak.lock();
    if (!object) continue;  // gone: its registrations went with it
    OVNKVOSharedController::sharedController().unobserve(
        object, std::vector<std::shared_ptr<OVNKVOInfo>>(entry.infos.begin(), entry.infos.end()));
  }
}
