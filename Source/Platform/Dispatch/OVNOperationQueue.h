#pragma once
// OVNOperationQueue: runs operations on the global dispatch queue of its quality of service
// (mainQueue() runs them on the main queue), starting them in the order they were added,
// with at most maxConcurrentOperationCount running at once. A finished operation leaves the
// queue after its completion block ran.
//
// Every member may be called from any thread. Operations (and their completion blocks) run
// on the queue's threads. Queued work keeps the queue's state alive, so dropping the queue
// does not stop operations already added; operations waiting in a suspended queue that is
// dropped never run.

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNOperation.h"
#include "Platform/Dispatch/OVNQualityOfService.h"

class OVN_EXPORT OVNOperationQueue {
 public:
  //! As many operations at once as the pool runs.
  static constexpr int defaultMaxConcurrentOperationCount = -1;

  OVNOperationQueue();
  ~OVNOperationQueue();
  OVNOperationQueue(const OVNOperationQueue&) = delete;
  OVNOperationQueue& operator=(const OVNOperationQueue&) = delete;

  //! The queue running operations on the main queue, one at a time.
  static OVNOperationQueue& mainQueue();

  //! Adds an operation that is neither started nor in a queue already (otherwise a
  //! programming error: OVNException, OVNInvalidArgumentException).
  void addOperation(OVNOperationRef operation);
  void addOperationWithBlock(std::function<void()> block);

  //! A suspended queue starts no operation; resuming starts those waiting.
  void setSuspended(bool suspended);
  bool isSuspended() const;
  //! -1 (the default) or a count >= 0; 1 runs operations one at a time, in order.
  void setMaxConcurrentOperationCount(int count);
  int maxConcurrentOperationCount() const;
  //! Applies to operations started afterwards.
  void setQualityOfService(OVNQualityOfService qos);
  OVNQualityOfService qualityOfService() const;
  std::string name() const;
  void setName(std::string name);

  //! Cancels every operation in the queue (see OVNOperation::cancel); waiting ones still
  //! start, and finish at once, when the queue is not suspended.
  void cancelAllOperations();
  //! Blocks until the queue is empty. Called from one of the queue's own operations, or on
  //! a suspended queue with waiting operations, it never returns.
  void waitUntilAllOperationsAreFinished();
  //! Operations added and not yet finished, in the order they were added.
  std::size_t operationCount() const;
  std::vector<OVNOperationRef> operations() const;

  class Impl;  // defined in the .cpp

 private:
  explicit OVNOperationQueue(std::shared_ptr<Impl> impl);

  std::shared_ptr<Impl> impl_;
};
