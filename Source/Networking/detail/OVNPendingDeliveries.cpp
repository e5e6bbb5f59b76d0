#include "Networking/detail/OVNPendingDeliveries.h"

#include <utility>

namespace ovn::detail {

void OVNPendingDeliveries::begin() {
  std::lock_guard lock(mutex_);
  ++pending_;
}

void OVNPendingDeliveries::end() {
  std::vector<std::function<void()>> ready;
  {
    std::lock_guard lock(mutex_);
    if (--pending_ > 0) return;
    ready.swap(waiters_);
  }
  for (auto& waiter : ready) waiter();
}

void OVNPendingDeliveries::notifyWhenIdle(std::function<void()> waiter) {
  {
    std::lock_guard lock(mutex_);
    if (pending_ > 0) {
      waiters_.push_back(std::move(waiter));
      return;
    }
  }
  waiter();
}

}  // namespace ovn::detail
