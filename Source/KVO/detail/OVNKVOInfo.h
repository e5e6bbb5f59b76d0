#pragma once
// One observation request of an OVNKVOController. Two infos are equal when they are the
// same object or observe the same key path, so a controller keeps at most one per observed
// object and key path. `state` moves 0 (initial) -> 1 (observing) -> 2 (not observing);
// it is atomic because registration and removal may race on different threads.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "KVO/OVNKVOController.h"

namespace ovn::detail {

class OVNKVOInfo {
 public:
  enum State : std::uint64_t { Initial = 0, Observing = 1, NotObserving = 2 };

  OVNKVOInfo(std::weak_ptr<OVNKVOController> controller, std::string keyPath, std::uint64_t options = 0,
             OVNKVONotificationBlock block = {}, OVNKVOAction action = {}, void* context = nullptr)
      : controller(std::move(controller)),
        keyPath(std::move(keyPath)),
        options(options),
        block(std::move(block)),
        action(std::move(action)),
        context(context) {}

  std::size_t hash() const { return std::hash<std::string>()(keyPath); }
  bool isEqual(const OVNKVOInfo* other) const { return other && (other == this || other->keyPath == keyPath); }

  const std::weak_ptr<OVNKVOController> controller;
  const std::string keyPath;
  const std::uint64_t options;
  const OVNKVONotificationBlock block;
  const OVNKVOAction action;
  void* const context;
  std::atomic<std::uint64_t> state{Initial};
};

}  // namespace ovn::detail
