#pragma once
// One-shot timers of the main run loop. The block fires on the thread driving
// OVNRunLoop::main() (as a main-queue block), once, after the interval; the timer is then
// no longer valid. Under a test clock the timer fires only when OVNTestClock::advance
// reaches its deadline.
//
// Any thread may schedule or invalidate a timer. The run loop keeps a scheduled timer (and
// its block) alive until it fires or is invalidated, so the returned pointer may be
// dropped. Invalidating from another thread cannot stop a firing that has already begun.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNTimer : public std::enable_shared_from_this<OVNTimer> {
 public:
  using Block = std::function<void(OVNTimer&)>;

  //! Schedules `block` on the main run loop `interval` seconds from now (negative counts
  //! as 0).
  static std::shared_ptr<OVNTimer> scheduledTimer(double interval, Block block);

  //! Unschedules the timer; its block is released without running. Idempotent.
  void invalidate();
  //! True until the timer fired or was invalidated.
  bool isValid() const { return valid_.load(std::memory_order_acquire); }
  //! When the timer is (or was) due.
  OVNDate fireDate() const;
  double timeInterval() const { return interval_; }

  //! Made by scheduledTimer() only (the tag is private).
  struct PrivateTag;
  OVNTimer(PrivateTag, double interval);
  OVNTimer(const OVNTimer&) = delete;
  OVNTimer& operator=(const OVNTimer&) = delete;

 private:
  friend class OVNRunLoop;

  const double interval_;
  std::atomic<bool> valid_{true};
  // The run loop's key for this timer; written under the run loop's lock.
  std::atomic<double> deadline_{0};
  std::uint64_t sequence_ = 0;
};
