#pragma once
// A clock for tests: while one exists, OVNClock (and so OVNDate::now() and the main run
// loop's timers) reads its time, which moves only through advance(). Delays become exact:
//
//   OVNTestClock clock;
//   OVNDispatchQueue::main()->after(0.5, [&] { fired = true; });
//   clock.advance(0.49);   // not yet
//   clock.advance(0.01);   // fired
//
// Installing it keeps the time left on timers already scheduled. Destroying it restores the
// system clock and discards the timers still pending (their blocks are released without
// running), so that one test's timers never fire in another.
//
// One test clock at a time. Use it on the thread that drives the main run loop (normally
// the main thread); when another thread drives the loop, advance() runs there through the
// main queue. now() may be read from any thread.

#include <atomic>
#include <memory>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNTestClock {
 public:
  //! Starts at the real current time.
  OVNTestClock();
  //! Starts at `absoluteTime` (seconds since 2001-01-01 UTC).
  explicit OVNTestClock(double absoluteTime);
  ~OVNTestClock();
  OVNTestClock(const OVNTestClock&) = delete;
  OVNTestClock& operator=(const OVNTestClock&) = delete;

  //! The current test time, in seconds since 2001-01-01 UTC.
  double now() const { return now_->load(std::memory_order_acquire); }
  //! Moves time forward by `seconds` (not negative). Every main-run-loop timer that comes
  //! due fires in deadline order, with the clock set to its deadline while it fires; the
  //! blocks a timer posts to the main queue run before the next timer. Ends at the old
  //! time plus `seconds`, with the main queue drained.
  void advance(double seconds);

 private:
  void step(double seconds);

  // Shared with the clock override, which may be read while the clock is torn down.
  std::shared_ptr<std::atomic<double>> now_;
};
