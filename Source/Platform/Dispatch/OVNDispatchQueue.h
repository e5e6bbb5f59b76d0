#pragma once
// Dispatch queues: where blocks run.
//
//   main()          the main queue, serial, drained by whichever thread runs
//                   OVNRunLoop::main() (run, runUntil or drain); normally the main thread.
//   global(qos)     concurrent queues on a shared thread pool. Every quality of service but
//                   Background shares the standard pool (max(4, hardware threads) threads);
//                   Background has its own pool of 2 threads running at a lower priority
//                   (nice +10), so background work never takes a standard thread.
//   createSerial()  serial queues: one block at a time, in posting order, on the pool
//                   matching their quality of service.
//
// Any thread may use any queue. Blocks run on the queue's threads: main-queue blocks on the
// run loop's thread, the others on pool threads. Completions "on the main queue" are always
// posted, never run inline.
//
// A block must not throw, except under sync(), which hands the exception to its caller. An
// exception escaping a main-queue block leaves run()/drain() (later blocks stay queued);
// escaping a pool block ends the program, as an uncaught exception on any thread does.
//
// The pools are never shut down: their threads live until the process exits, so blocks
// still queued at exit are abandoned rather than run against half-destroyed statics.

#include <functional>
#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNQualityOfService.h"

class OVNDispatchQueue;
using OVNDispatchQueueRef = std::shared_ptr<OVNDispatchQueue>;

class OVN_EXPORT OVNDispatchQueue {
 public:
  using Block = std::function<void()>;

  //! The main queue (label "com.apple.main-thread").
  static const OVNDispatchQueueRef& main();
  //! The concurrent queue of that quality of service.
  static const OVNDispatchQueueRef& global(OVNQualityOfService qos = OVNQualityOfService::Default);
  //! A new serial queue; it lives while referenced or while it has blocks to run.
  static OVNDispatchQueueRef createSerial(std::string label, OVNQualityOfService qos = OVNQualityOfService::Default);

  //! Runs `block` later on this queue.
  void async(Block block);
  //! Runs `block` on this queue and returns once it has run; an exception it throws is
  //! rethrown here. Concurrent queues, and serial queues with nothing queued or running,
  //! run it inline on the calling thread (the serial queue runs nothing else meanwhile).
  //! Calling sync onto a serial queue that the calling thread is running a block of (also
  //! through an outer sync that is waiting on it), and calling sync onto the main queue from
  //! the main thread, would deadlock: it throws OVNException
  //! (OVNInternalInconsistencyException) instead, and the block does not run.
  void sync(const Block& block);
  //! Runs `block` on this queue after `delaySeconds` (negative counts as 0). The main
  //! queue uses a timer of the main run loop; other queues use the pool's timers, or a
  //! main-run-loop timer while a test clock is installed, so that OVNTestClock::advance
  //! releases them (they are then posted to their queue).
  void after(double delaySeconds, Block block);

  const std::string& label() const;
  bool isSerial() const;
  OVNQualityOfService qualityOfService() const;
  //! Whether the calling thread is running a block of this queue, including while that
  //! block is inside a sync() onto a concurrent queue (which runs inline).
  bool isCurrent() const;
  //! Whether the calling thread is the process's initial thread.
  static bool isMainThread();

  ~OVNDispatchQueue();
  OVNDispatchQueue(const OVNDispatchQueue&) = delete;
  OVNDispatchQueue& operator=(const OVNDispatchQueue&) = delete;

  class Impl;  // defined in the .cpp

 private:
  friend class OVNRunLoop;
  explicit OVNDispatchQueue(std::shared_ptr<Impl> impl);

  // Marks the calling thread as running a block of a queue, for isCurrent() and for the
  // deadlock check of sync(). Frames chain within a thread (`parent`) and, for a block run
  // by sync(), to the frames of the thread waiting for it (`waiter`).
  struct ExecutionFrame {
    const Impl* queue;
    const ExecutionFrame* parent;
    const ExecutionFrame* waiter;
  };
  class ExecutionScope {
   public:
    explicit ExecutionScope(const Impl* queue, const ExecutionFrame* waiter = nullptr);
    explicit ExecutionScope(const OVNDispatchQueue& queue) : ExecutionScope(queue.impl_.get()) {}
    ~ExecutionScope();
    ExecutionScope(const ExecutionScope&) = delete;
    ExecutionScope& operator=(const ExecutionScope&) = delete;

   private:
    ExecutionFrame frame_;
  };
  // The calling thread's innermost frame.
  static const ExecutionFrame*& currentFrame();

  // Shared, so that queued work keeps a serial queue's state alive after its last owner let go.
  std::shared_ptr<Impl> impl_;
};
