#pragma once
// Key-value observation state of one object: its registrations, guarded by a mutex that
// is never held while observers are called.

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Objects/OVNObject.h"

namespace ovn::detail {

class KeyPathRelay;

struct Observation {
  OVNObject* observer = nullptr;          // identity, for removal
  std::weak_ptr<OVNObject> weakObserver;  // liveness, when the observer is shared
  bool observerIsShared = false;
  std::string keyPath;
  std::string firstKey;
  std::uint64_t options = 0;
  void* context = nullptr;
  std::atomic<bool> active{true};
  std::shared_ptr<KeyPathRelay> relay;  // follows the levels of a dotted key path
};
using ObservationRef = std::shared_ptr<Observation>;

class ObservationInfo {
 public:
  explicit ObservationInfo(OVNObject& owner) : owner_(owner) {}
  ~ObservationInfo();

  void add(OVNObject& observer, std::string_view keyPath, std::uint64_t options, void* context);
  //! `context` null with `matchContext` false removes regardless of context.
  void remove(OVNObject& observer, std::string_view keyPath, void* context, bool matchContext);
  void willChange(std::string_view key);
  void didChange(std::string_view key);
  //! Drops the pending change of a set that failed, without notifying.
  void discardPending(std::string_view key);
  bool empty() const { return count_.load(std::memory_order_acquire) == 0; }

  //! Sends a change to one registration's observer (on this thread, no lock held).
  void deliver(const Observation& observation, const OVNDictionaryRef& change);

 private:
  std::vector<ObservationRef> matching(std::string_view firstKey);

  OVNObject& owner_;
  std::mutex lock_;
  std::vector<ObservationRef> observations_;
  std::atomic<std::size_t> count_{0};
};

}  // namespace ovn::detail
