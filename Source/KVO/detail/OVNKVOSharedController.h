#pragma once
// The process-wide dispatcher: the one object registered with key-value observation for
// every controller's observation. It holds infos weakly, by identity, under its mutex
// `mutex`, and routes each change to the info's block, action or observer.

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "KVO/detail/OVNKVOInfo.h"
#include "Platform/Objects/OVNObject.h"

namespace ovn::detail {

class OVNKVOSharedController : public OVNObject {
 public:
  static OVNKVOSharedController& sharedController();

  void observe(const OVNObjectRef& object, const std::shared_ptr<OVNKVOInfo>& info);
  void unobserve(const OVNObjectRef& object, const std::shared_ptr<OVNKVOInfo>& info);
  void unobserve(const OVNObjectRef& object, const std::vector<std::shared_ptr<OVNKVOInfo>>& infos);

  void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef& object, const OVNDictionaryRef& change,
                              void* context) override;

 private:
  //! Removes the registration when the info is observing, then marks it not observing.
  void finish(const OVNObjectRef& object, OVNKVOInfo& info);

  std::mutex mutex_;  // "mutex": guards infos_
  std::unordered_map<const OVNKVOInfo*, std::weak_ptr<OVNKVOInfo>> infos_;
};

}  // namespace ovn::detail
