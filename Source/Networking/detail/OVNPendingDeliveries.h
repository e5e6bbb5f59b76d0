#pragma once
// Counts the blocks a request has posted to completion queues and not yet run, so that
// whoever keeps the request alive for them (the session manager's registrations) knows
// when it may let go. Thread-safe; the waiters run on the thread that ends the last
// delivery, with no lock held.

#include <functional>
#include <mutex>
#include <vector>

namespace ovn::detail {

class OVNPendingDeliveries {
 public:
  void begin();
  void end();
  //! Runs `waiter` once no delivery is pending: at once when none is, else after the last
  //! end().
  void notifyWhenIdle(std::function<void()> waiter);

 private:
  std::mutex mutex_;
  int pending_ = 0;
  std::vector<std::function<void()>> waiters_;
};

}  // namespace ovn::detail
