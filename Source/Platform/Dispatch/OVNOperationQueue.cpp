#include "Platform/Dispatch/OVNOperationQueue.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "Platform/Dispatch/OVNBlockOperation.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNException.h"

class OVNOperationQueue::Impl : public std::enable_shared_from_this<OVNOperationQueue::Impl> {
 public:
  explicit Impl(bool runsOnMainQueue) : runsOnMainQueue(runsOnMainQueue) {}

  const bool runsOnMainQueue;
  mutable std::mutex lock;
  std::condition_variable emptied;
  std::vector<OVNOperationRef> operations;  // unfinished, in the order added
  std::deque<OVNOperationRef> waiting;      // not started yet, in the order added
  int running = 0;
  bool suspended = false;
  int maxConcurrent = defaultMaxConcurrentOperationCount;
  OVNQualityOfService qos = OVNQualityOfService::Default;
  std::string name;

  // Starts as many waiting operations as the limits allow. The pool may still hold many
  // posted ones under the default limit; it runs them as threads come free.
  void startReady() {
    std::vector<OVNOperationRef> starting;
    OVNDispatchQueueRef target;
    {
      std::lock_guard guard(lock);
      while (!suspended && !waiting.empty() && (maxConcurrent < 0 || running < maxConcurrent)) {
        starting.push_back(std::move(waiting.front()));
        waiting.pop_front();
        ++running;
      }
      if (starting.empty()) return;
      target = runsOnMainQueue ? OVNDispatchQueue::main() : OVNDispatchQueue::global(qos);
    }
    for (auto& operation : starting) {
      target->async([self = shared_from_this(), operation = std::move(operation)]() mutable {
        self->runFrom(std::move(operation));
      });
    }
  }

  // Runs `operation`, then, on the same thread, each next one that may start now: a queue
  // working through its operations one after another costs one thread hand-over, not one
  // per operation. The main queue's operations go back to the main queue each time, so
  // that other main-queue work is not held up.
  void runFrom(OVNOperationRef operation) {
    while (operation) {
      operation->start();
      operation = didFinish(operation);
    }
  }

  // The next operation for the calling thread to run, if any; the others that may start
  // are posted.
  OVNOperationRef didFinish(const OVNOperationRef& operation) {
    OVNOperationRef next;
    {
      std::lock_guard guard(lock);
      --running;
      operations.erase(std::find(operations.begin(), operations.end(), operation));
      if (operations.empty()) emptied.notify_all();
      if (!runsOnMainQueue && !suspended && !waiting.empty() && (maxConcurrent < 0 || running < maxConcurrent)) {
        next = std::move(waiting.front());
        waiting.pop_front();
        ++running;
      }
    }
    startReady();
    return next;
  }
};

OVNOperationQueue::OVNOperationQueue() : impl_(std::make_shared<Impl>(false)) {}
OVNOperationQueue::OVNOperationQueue(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
OVNOperationQueue::~OVNOperationQueue() = default;

OVNOperationQueue& OVNOperationQueue::mainQueue() {
  static OVNOperationQueue* const queue = [] {
    auto impl = std::make_shared<Impl>(true);
    impl->maxConcurrent = 1;
    impl->qos = OVNQualityOfService::UserInteractive;
    impl->name = "NSOperationQueue Main Queue";
    return new OVNOperationQueue(std::move(impl));
  }();
  return *queue;
}

void OVNOperationQueue::addOperation(OVNOperationRef operation) {
  if (!operation) OVNException::raise(OVNInvalidArgumentException, "cannot add a null operation");
  if (operation->isExecuting() || operation->isFinished()) {
    OVNException::raise(OVNInvalidArgumentException, "an operation that has started cannot be added to a queue");
  }
  if (operation->enqueued_.exchange(true, std::memory_order_acq_rel)) {
    OVNException::raise(OVNInvalidArgumentException, "an operation can be in one queue only, once");
  }
  {
    std::lock_guard guard(impl_->lock);
    impl_->operations.push_back(operation);
    impl_->waiting.push_back(std::move(operation));
  }
  impl_->startReady();
}

void OVNOperationQueue::addOperationWithBlock(std::function<void()> block) {
  addOperation(OVNBlockOperation::blockOperationWithBlock(std::move(block)));
}

void OVNOperationQueue::setSuspended(bool suspended) {
  {
    std::lock_guard guard(impl_->lock);
    impl_->suspended = suspended;
  }
  if (!suspended) impl_->startReady();
}

bool OVNOperationQueue::isSuspended() const {
  std::lock_guard guard(impl_->lock);
  return impl_->suspended;
}

void OVNOperationQueue::setMaxConcurrentOperationCount(int count) {
  if (count < defaultMaxConcurrentOperationCount) {
    OVNException::raise(OVNInvalidArgumentException, "the maximum concurrent operation count is -1 or at least 0");
  }
  {
    std::lock_guard guard(impl_->lock);
    impl_->maxConcurrent = count;
  }
  impl_->startReady();
}

int OVNOperationQueue::maxConcurrentOperationCount() const {
  std::lock_guard guard(impl_->lock);
  return impl_->maxConcurrent;
}

void OVNOperationQueue::setQualityOfService(OVNQualityOfService qos) {
  std::lock_guard guard(impl_->lock);
  impl_->qos = qos;
}

OVNQualityOfService OVNOperationQueue::qualityOfService() const {
  std::lock_guard guard(impl_->lock);
  return impl_->qos;
}

std::string OVNOperationQueue::name() const {
  std::lock_guard guard(impl_->lock);
  return impl_->name;
}

void OVNOperationQueue::setName(std::string name) {
  std::lock_guard guard(impl_->lock);
  impl_->name = std::move(name);
}

void OVNOperationQueue::cancelAllOperations() {
  for (auto& operation : operations()) operation->cancel();
}

void OVNOperationQueue::waitUntilAllOperationsAreFinished() {
  std::unique_lock guard(impl_->lock);
  impl_->emptied.wait(guard, [this] { return impl_->operations.empty(); });
}

std::size_t OVNOperationQueue::operationCount() const {
  std::lock_guard guard(impl_->lock);
  return impl_->operations.size();
}

std::vector<OVNOperationRef> OVNOperationQueue::operations() const {
  std::lock_guard guard(impl_->lock);
  return impl_->operations;
}
