#pragma once
// OVNKVOController: observes other objects' properties on behalf of an owner (the
// observer) and removes every registration it made when it goes away, so observations
// never outlive their owner.
//
// Each change calls, on the thread that made the change: the registration's block with
// (observer, object, change); else its action on the observer with (change, object); else
// the observer's own observeValueForKeyPath with the registration's info as context.
// Nothing is called once the controller or the observer has gone away. The observer must
// be owned by a std::shared_ptr (made with OVNMake): the controller holds it weakly.
//
// Any thread may use a controller. Its map is guarded by its mutex `lock`; no lock is held
// while observations are registered or removed, nor while callbacks run. Invalid requests
// (null object, empty key path, empty block or action) are ignored silently.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

namespace ovn::detail {
class OVNKVOInfo;
}

//! The block form: (observer, observed object, change dictionary).
using OVNKVONotificationBlock =
    std::function<void(const OVNObjectRef& observer, const OVNObjectRef& object, const OVNDictionaryRef& change)>;

//! The action form: a method of the observer taking (change dictionary, observed object).
class OVN_EXPORT OVNKVOAction {
 public:
  OVNKVOAction() = default;
  template <class Owner>
  OVNKVOAction(void (Owner::*method)(const OVNDictionaryRef& change, const OVNObjectRef& object)) {
    if (!method) return;
    invoke_ = [method](OVNObject& observer, const OVNDictionaryRef& change, const OVNObjectRef& object) {
      // An observer of another class does not have the method: nothing to call.
      if (auto* owner = dynamic_cast<Owner*>(&observer)) (owner->*method)(change, object);
    };
  }
  explicit operator bool() const { return static_cast<bool>(invoke_); }
  void operator()(OVNObject& observer, const OVNDictionaryRef& change, const OVNObjectRef& object) const {
    invoke_(observer, change, object);
  }

 private:
  std::function<void(OVNObject&, const OVNDictionaryRef&, const OVNObjectRef&)> invoke_;
};

class OVN_EXPORT OVNKVOController : public OVNObject {
  OVN_CLASS(OVNKVOController, OVNObject)

 public:
  //! A controller that keeps observed objects alive while it observes them.
  static std::shared_ptr<OVNKVOController> controllerWithObserver(OVNObject& observer);
  static std::shared_ptr<OVNKVOController> initWithObserver(OVNObject& observer);
  //! `retainObserved` false: the controller forgets observed objects when they go away.
  static std::shared_ptr<OVNKVOController> initWithObserver(OVNObject& observer, bool retainObserved);

  OVNKVOController(OVNObject& observer, bool retainObserved);
  ~OVNKVOController() override;

  //! The owner, or null once it has gone away.
  OVNObjectRef observer() const { return observer_.lock(); }

  void observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options,
               OVNKVONotificationBlock block);
  void observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options, OVNKVOAction action);
  void observe(const OVNObjectRef& object, std::string_view keyPath, std::uint64_t options, void* context);
  void observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths, std::uint64_t options,
               OVNKVONotificationBlock block);
  void observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths, std::uint64_t options,
               OVNKVOAction action);
  void observe(const OVNObjectRef& object, const std::vector<std::string>& keyPaths, std::uint64_t options,
               void* context);

  void unobserve(const OVNObjectRef& object, std::string_view keyPath);
  void unobserve(const OVNObjectRef& object);
  void unobserveAll();

 private:
  struct InfoHash {
    std::size_t operator()(const std::shared_ptr<ovn::detail::OVNKVOInfo>& info) const;
  };
  struct InfoEqual {
    bool operator()(const std::shared_ptr<ovn::detail::OVNKVOInfo>& a,
                    const std::shared_ptr<ovn::detail::OVNKVOInfo>& b) const;
  };
  using InfoSet = std::unordered_set<std::shared_ptr<ovn::detail::OVNKVOInfo>, InfoHash, InfoEqual>;
  //! One observed object: held strongly or weakly, as the controller was made.
  struct ObservedEntry {
    OVNObjectRef strong;
    std::weak_ptr<OVNObject> weak;
    InfoSet infos;
  };
  using ObjectInfosMap = std::unordered_map<const OVNObject*, ObservedEntry>;

  void observe(const OVNObjectRef& object, std::shared_ptr<ovn::detail::OVNKVOInfo> info);
  void unobserve(const OVNObjectRef& object, const std::shared_ptr<ovn::detail::OVNKVOInfo>& info);
  //! The live entry of `object`, dropping one left by an object that went away. Needs `lock`.
  ObservedEntry* entryFor(const OVNObject& object);

  std::weak_ptr<OVNObject> observer_;
  const bool retainObserved_;
  std::mutex lock_;  // "lock": guards objectInfosMap_
  ObjectInfosMap objectInfosMap_;
};
