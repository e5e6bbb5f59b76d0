#include "Platform/Dispatch/OVNDispatchQueue.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <asio/thread_pool.hpp>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNClock.h"

namespace {
using Block = OVNDispatchQueue::Block;

// Blocking inside a block (sync, waiting on an operation) is common enough that the pool
// keeps a few threads even on a small machine.
unsigned standardThreadCount() { return std::max(4u, std::thread::hardware_concurrency()); }
constexpr unsigned backgroundThreadCount = 2;
constexpr int backgroundNiceness = 10;

struct Pools {
  asio::thread_pool standard{standardThreadCount()};
  asio::thread_pool background{backgroundThreadCount};
};

Pools& pools() {
  // Never destroyed: joining at exit could wait forever on a blocked block.
  static Pools* const shared = new Pools();
  return *shared;
}

asio::thread_pool& poolFor(OVNQualityOfService qos) {
  return qos == OVNQualityOfService::Background ? pools().background : pools().standard;
}

// Background pool threads lower their own priority the first time they run a block.
void prepareThread(OVNQualityOfService qos) {
  if (qos != OVNQualityOfService::Background) return;
  static thread_local bool lowered = false;
  if (lowered) return;
  lowered = true;
  setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), backgroundNiceness);
}

// Capped so that a huge delay cannot overflow the pool timer's integer ticks.
double sanitizedDelay(double seconds) {
  constexpr double longest = 100.0 * 365 * 24 * 3600;
  return std::isnan(seconds) ? 0.0 : std::clamp(seconds, 0.0, longest);
}
}  // namespace

class OVNDispatchQueue::Impl : public std::enable_shared_from_this<OVNDispatchQueue::Impl> {
 public:
  enum class Kind { Main, Global, Serial };

  Impl(Kind kind, std::string label, OVNQualityOfService qos) : kind(kind), label(std::move(label)), qos(qos) {}

  const Kind kind;
  const std::string label;
  const OVNQualityOfService qos;

  void enqueue(Block block) {
    switch (kind) {
      case Kind::Main: OVNRunLoop::main().enqueue(std::move(block)); return;
      case Kind::Global:
        asio::post(poolFor(qos), [this, block = std::move(block)] {
          prepareThread(qos);
          ExecutionScope scope(this);
          block();
        });
        return;
      case Kind::Serial: {
        bool schedule = false;
        {
          std::lock_guard guard(lock_);
          pending_.push_back(std::move(block));
          schedule = !scheduled_;
          scheduled_ = true;
        }
        if (schedule) scheduleDrain();
        return;
      }
    }
  }

  // A serial queue with nothing queued or running runs a sync block on the caller's own
  // thread, as the platform does, so that serialising a short section costs no thread
  // switch. False when the queue is busy: the block then waits its turn.
  bool runInlineIfIdle(const Block& block, const ExecutionFrame* caller) {
    {
      std::lock_guard guard(lock_);
      if (scheduled_ || !pending_.empty()) return false;
      scheduled_ = true;
    }
    std::exception_ptr error;
    {
      ExecutionScope scope(this, caller);
      try {
        block();
      } catch (...) {
        error = std::current_exception();
      }
    }
    bool more = false;
    {
      std::lock_guard guard(lock_);
      more = !pending_.empty();
      scheduled_ = more;
    }
    if (more) scheduleDrain();
    if (error) std::rethrow_exception(error);
    return true;
  }

  void after(double delay, Block block) {
    OVNRunLoop& loop = OVNRunLoop::main();
    if (kind == Kind::Main) {
      loop.addTimer(OVNClock::uptime() + delay, std::move(block), nullptr);
    } else if (OVNClock::isOverridden()) {
      loop.addTimer(
          OVNClock::uptime() + delay,
          [self = shared_from_this(), block = std::move(block)]() mutable { self->enqueue(std::move(block)); },
          nullptr);
    } else {
      auto timer = std::make_shared<asio::steady_timer>(
          poolFor(qos),
          std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(delay)));
      timer->async_wait([timer, self = shared_from_this(), block = std::move(block)](const asio::error_code&) mutable {
        self->enqueue(std::move(block));
      });
    }
  }

 private:
  // Serial queues: one drain task at a time runs the blocks posted so far, then hands the
  // pool back (posting itself again if more arrived) so that busy queues take turns.
  void scheduleDrain() {
    asio::post(poolFor(qos), [self = shared_from_this()] { self->drainBatch(); });
  }

  void drainBatch() {
    prepareThread(qos);
    {
      std::lock_guard guard(lock_);
      batch_.swap(pending_);
    }
    {
      ExecutionScope scope(this);
      for (Block& queued : batch_) {
        Block block = std::move(queued);  // released as soon as it has run
        block();
      }
    }
    batch_.clear();
    bool more = false;
    {
      std::lock_guard guard(lock_);
      more = !pending_.empty();
      scheduled_ = more;
      // Keep the larger buffer for posting, so a steady stream does not reallocate.
      if (!more && batch_.capacity() > pending_.capacity()) batch_.swap(pending_);
    }
    if (more) scheduleDrain();
  }

  std::mutex lock_;
  std::vector<Block> pending_;  // under lock_
  bool scheduled_ = false;      // under lock_: a drain task is posted or running
  std::vector<Block> batch_;    // the running drain task's own
};

OVNDispatchQueue::OVNDispatchQueue(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
OVNDispatchQueue::~OVNDispatchQueue() = default;

const OVNDispatchQueueRef& OVNDispatchQueue::main() {
  static const OVNDispatchQueueRef* const queue = new OVNDispatchQueueRef(new OVNDispatchQueue(
      std::make_shared<Impl>(Impl::Kind::Main, "com.apple.main-thread", OVNQualityOfService::UserInteractive)));
  return *queue;
}

const OVNDispatchQueueRef& OVNDispatchQueue::global(OVNQualityOfService qos) {
  auto make = [](const char* label, OVNQualityOfService qos) {
    return new OVNDispatchQueueRef(new OVNDispatchQueue(std::make_shared<Impl>(Impl::Kind::Global, label, qos)));
  };
  static const OVNDispatchQueueRef* const userInteractive =
      make("com.apple.root.user-interactive-qos", OVNQualityOfService::UserInteractive);
  static const OVNDispatchQueueRef* const userInitiated =
      make("com.apple.root.user-initiated-qos", OVNQualityOfService::UserInitiated);
  static const OVNDispatchQueueRef* const standard = make("com.apple.root.default-qos", OVNQualityOfService::Default);
  static const OVNDispatchQueueRef* const utility = make("com.apple.root.utility-qos", OVNQualityOfService::Utility);
  static const OVNDispatchQueueRef* const background =
      make("com.apple.root.background-qos", OVNQualityOfService::Background);
  switch (qos) {
    case OVNQualityOfService::UserInteractive: return *userInteractive;
    case OVNQualityOfService::UserInitiated: return *userInitiated;
    case OVNQualityOfService::Utility: return *utility;
    case OVNQualityOfService::Background: return *background;
    default: return *standard;
  }
}

OVNDispatchQueueRef OVNDispatchQueue::createSerial(std::string label, OVNQualityOfService qos) {
  return OVNDispatchQueueRef(new OVNDispatchQueue(std::make_shared<Impl>(Impl::Kind::Serial, std::move(label), qos)));
}

void OVNDispatchQueue::async(Block block) { impl_->enqueue(std::move(block)); }

namespace {
template <class Frame, class Queue>
bool chainHolds(const Frame* frame, const Queue* queue) {
  for (; frame; frame = frame->parent) {
    if (frame->queue == queue || chainHolds(frame->waiter, queue)) return true;
  }
  return false;
}
}  // namespace

void OVNDispatchQueue::sync(const Block& block) {
  Impl* const queue = impl_.get();
  const ExecutionFrame* const caller = currentFrame();
  if (queue->kind == Impl::Kind::Global) {
    ExecutionScope scope(queue);
    block();
    return;
  }
  if (queue->kind == Impl::Kind::Main && isMainThread()) {
    OVNException::raise(OVNInternalInconsistencyException,
                        "sync onto the main queue from the main thread would deadlock; use async");
  }
  if (chainHolds(caller, queue)) {
    OVNException::raise(OVNInternalInconsistencyException,
                        "sync onto queue '" + queue->label +
                            "' from a block running on it (or waiting for it through sync) would deadlock; use async");
  }
  if (queue->kind == Impl::Kind::Serial && queue->runInlineIfIdle(block, caller)) return;

  struct Waiter {
    std::mutex lock;
    std::condition_variable finished;
    bool done = false;
    std::exception_ptr error;
  } waiter;
  queue->enqueue([&waiter, &block, caller, queue] {
    {
      ExecutionScope scope(queue, caller);
      try {
        block();
      } catch (...) {
        waiter.error = std::current_exception();
      }
    }
    // Notified under the lock: the waiter's frame ends as soon as it sees `done`.
    std::lock_guard guard(waiter.lock);
    waiter.done = true;
    waiter.finished.notify_one();
  });
  std::unique_lock guard(waiter.lock);
  waiter.finished.wait(guard, [&] { return waiter.done; });
  if (waiter.error) std::rethrow_exception(waiter.error);
}

void OVNDispatchQueue::after(double delaySeconds, Block block) {
  impl_->after(sanitizedDelay(delaySeconds), std::move(block));
}

const std::string& OVNDispatchQueue::label() const { return impl_->label; }
bool OVNDispatchQueue::isSerial() const { return impl_->kind != Impl::Kind::Global; }
OVNQualityOfService OVNDispatchQueue::qualityOfService() const { return impl_->qos; }

bool OVNDispatchQueue::isCurrent() const {
  for (const ExecutionFrame* frame = currentFrame(); frame; frame = frame->parent) {
    if (frame->queue == impl_.get()) return true;
  }
  return false;
}

bool OVNDispatchQueue::isMainThread() {
  static thread_local const bool isMain = gettid() == getpid();
  return isMain;
}

const OVNDispatchQueue::ExecutionFrame*& OVNDispatchQueue::currentFrame() {
  static thread_local const ExecutionFrame* frame = nullptr;
  return frame;
}

OVNDispatchQueue::ExecutionScope::ExecutionScope(const Impl* queue, const ExecutionFrame* waiter)
    : frame_{queue, currentFrame(), waiter} {
  currentFrame() = &frame_;
}

OVNDispatchQueue::ExecutionScope::~ExecutionScope() { currentFrame() = frame_.parent; }
