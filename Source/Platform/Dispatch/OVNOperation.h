#pragma once
// OVNOperation: a unit of work, run once, usually by an OVNOperationQueue (which calls
// start() on one of its threads). Subclasses override main(). Made with OVNMake<T>().
//
// start() runs main() on the calling thread, unless the operation was cancelled first: a
// cancelled operation still finishes, without running main(). After main() the operation is
// finished and its completion block runs, on the same thread; waitUntilFinished() returns
// after that. The completion block is released once it has run.
//
// Any thread may cancel, read the state, set the completion block or wait. start() is
// called once; starting an operation again is a programming error (OVNException,
// OVNInvalidArgumentException). Cancelling only sets a flag: a running main() should look
// at isCancelled() and return early.

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNOperation : public OVNObject {
  OVN_CLASS(OVNOperation, OVNObject)

 public:
  OVNOperation() = default;

  //! The work; does nothing unless overridden.
  virtual void main() {}
  //! Runs the operation on the calling thread (see above).
  virtual void start();
  void cancel() { cancelled_.store(true, std::memory_order_release); }

  bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
  bool isExecuting() const { return state_.load(std::memory_order_acquire) == State::Executing; }
  bool isFinished() const { return state_.load(std::memory_order_acquire) == State::Finished; }

  std::function<void()> completionBlock() const;
  void setCompletionBlock(std::function<void()> block);

  //! Blocks until the operation finished and its completion block ran. Waiting on an
  //! operation that will only run after the waiting thread returns (on the same serial
  //! queue, say) never ends.
  void waitUntilFinished();

 private:
  friend class OVNOperationQueue;
  enum class State { Ready, Executing, Finished };

  void finish();

  std::atomic<State> state_{State::Ready};
  std::atomic<bool> cancelled_{false};
  std::atomic<bool> enqueued_{false};  // claimed by the queue it was added to

  mutable std::mutex lock_;
  std::condition_variable finishedCondition_;
  bool done_ = false;                      // under lock_: finished and completion block run
  std::function<void()> completionBlock_;  // under lock_
};

using OVNOperationRef = std::shared_ptr<OVNOperation>;
