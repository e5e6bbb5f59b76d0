#pragma once
// The main run loop: runs the blocks posted to the main queue, in posting order, and fires
// the main run loop's timers (OVNTimer, OVNDispatchQueue::after) when they come due.
//
// One thread at a time drives it, through run(), runUntil() or drain(); normally the main
// thread. Driving it from a second thread while one is already doing so is a programming
// error (OVNException, OVNInternalInconsistencyException). A block may drive it again
// (a nested loop); the innermost loop then continues the outer one's queue in order.
// stop(), setWakeUpHandler() and secondsUntilNextTimer() may be called from any thread.
//
// Timers use OVNClock::uptime(). With the system clock the loop sleeps until the earliest
// deadline; while a test clock is installed, time moves only through OVNTestClock::advance.
//
// Applications with an event loop of their own install a wake-up handler and call drain()
// from their loop whenever it is called (and after secondsUntilNextTimer()).

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>

#include "OvrinCoreExport.h"

class OVNTimer;

class OVN_EXPORT OVNRunLoop {
 public:
  //! The run loop of the main queue.
  static OVNRunLoop& main();

  //! Runs blocks and timers, sleeping when there are none, until stop() is called.
  void run();
  //! Runs ready work, then returns true as soon as `predicate` holds (checked after each
  //! round of work and at least every millisecond, so it may watch other threads' work).
  //! Returns false after `timeoutSeconds` of real time (measured on the system's steady
  //! clock even under a test clock, so that a test never hangs) or when stop() is called.
  bool runUntil(const std::function<bool()>& predicate, double timeoutSeconds);
  //! Ends the innermost run()/runUntil() after its current round of work (the blocks
  //! that were ready, then one due timer); does nothing when the loop is not running.
  void stop();
  //! Runs every ready block and due timer without waiting, including the work they post,
  //! and returns how many ran. Between two timers, the blocks the first one posted run.
  std::size_t drain();

  //! Called, on the posting thread, when a block is posted to an empty main queue and
  //! whenever a timer is scheduled; the application should then call drain() on its loop's
  //! thread. An empty function removes it. Called with no lock held.
  void setWakeUpHandler(std::function<void()> handler);
  //! Seconds until the earliest timer is due (0 when overdue), or none without timers.
  std::optional<double> secondsUntilNextTimer() const;

  OVNRunLoop(const OVNRunLoop&) = delete;
  OVNRunLoop& operator=(const OVNRunLoop&) = delete;

  class Impl;  // defined in the .cpp

 private:
  friend class OVNDispatchQueue;
  friend class OVNTimer;
  friend class OVNTestClock;

  OVNRunLoop();
  ~OVNRunLoop();

  // For the main queue, timers and the test clock.
  void enqueue(std::function<void()> block);
  //! Schedules `block` at `deadline` (uptime); `timer` (may be null) is kept alive until then
  //! and is marked invalid once it fired.
  void addTimer(double deadline, std::function<void()> block, std::shared_ptr<OVNTimer> timer);
  //! Unschedules a timer that has not fired yet.
  void removeTimer(const OVNTimer& timer);
  std::optional<double> earliestDeadline() const;
  //! Moves every deadline by `offset`, keeping the time left, when the clock changes.
  void shiftTimers(double offset);
  //! Drops every timer without firing it.
  void discardTimers();
  //! Whether a thread other than the caller drives the loop right now.
  bool isDrivenByAnotherThread() const;

  std::unique_ptr<Impl> impl_;
};
