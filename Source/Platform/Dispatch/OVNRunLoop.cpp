#include "Platform/Dispatch/OVNRunLoop.h"

#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <compare>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNClock.h"

namespace {
using Block = std::function<void()>;
using SteadyTime = std::chrono::steady_clock::time_point;

pid_t currentThreadID() {
  static thread_local const pid_t tid = gettid();
  return tid;
}

// A steady-clock time `seconds` from now; capped, since an infinite timeout or a distant
// timer would overflow the clock's integer ticks (the loop simply looks again then).
SteadyTime steadyTimeAfter(double seconds) {
  constexpr double longest = 365.0 * 24 * 3600;
  const double capped = std::isnan(seconds) ? 0.0 : std::clamp(seconds, 0.0, longest);
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(capped));
}

// How often runUntil looks at its predicate while nothing is posted, so that it notices
// work finishing on other threads.
constexpr auto predicatePollInterval = std::chrono::milliseconds(1);
}  // namespace

class OVNRunLoop::Impl {
 public:
  struct TimerKey {
    double deadline;
    std::uint64_t sequence;  // equal deadlines fire in scheduling order
    auto operator<=>(const TimerKey&) const = default;
  };
  struct TimerEntry {
    Block block;
    std::shared_ptr<OVNTimer> timer;
  };

  // The main queue is a vector taken in batches rather than an Asio io_context: the loop
  // interleaves blocks with timers read from the (test) clock, counts what drain() ran and
  // lets nested loops continue the same batch; posting costs one uncontended lock.
  // Shared between threads, under `lock`.
  mutable std::mutex lock;
  std::condition_variable wake;
  std::vector<Block> pending;
  std::map<TimerKey, TimerEntry> timers;
  std::uint64_t nextSequence = 0;
  int sleepers = 0;
  int activeRuns = 0;
  bool stopRequested = false;
  std::shared_ptr<const Block> wakeUpHandler;

  // The driving thread's own state. `batch` holds the blocks taken from `pending` that
  // have not run yet; `cursor` is the next one. Nested loops continue the same batch.
  std::atomic<pid_t> driver{0};
  int driveDepth = 0;
  std::vector<Block> batch;
  std::size_t cursor = 0;

  // Claims the loop for the calling thread for the scope's duration.
  class DriveScope {
   public:
    explicit DriveScope(Impl& impl) : impl_(impl) {
      const pid_t me = currentThreadID();
      if (impl_.driver.load(std::memory_order_acquire) != me) {
        pid_t expected = 0;
        if (!impl_.driver.compare_exchange_strong(expected, me, std::memory_order_acquire)) {
          OVNException::raise(OVNInternalInconsistencyException,
                              "the main run loop is already being run by another thread");
        }
      }
      ++impl_.driveDepth;
    }
    ~DriveScope() {
      if (--impl_.driveDepth == 0) impl_.driver.store(0, std::memory_order_release);
    }
    DriveScope(const DriveScope&) = delete;
    DriveScope& operator=(const DriveScope&) = delete;

   private:
    Impl& impl_;
  };

  // Counts a run()/runUntil() so that stop() knows whether there is one to stop.
  class RunScope {
   public:
    explicit RunScope(Impl& impl) : impl_(impl) {
      std::lock_guard guard(impl_.lock);
      ++impl_.activeRuns;
    }
    ~RunScope() {
      std::lock_guard guard(impl_.lock);
      --impl_.activeRuns;
    }
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;

   private:
    Impl& impl_;
  };

  std::size_t runBlocks() {
    if (cursor >= batch.size()) {
      batch.clear();
      cursor = 0;
      std::lock_guard guard(lock);
      // The swap hands the batch's capacity back to `pending`, so posting does not
      // reallocate once the queue has reached its working size.
      batch.swap(pending);
    }
    std::size_t count = 0;
    while (cursor < batch.size()) {
      // Moved out first: the block may run a nested loop that reuses `batch`.
      Block block = std::move(batch[cursor++]);
      block();
      ++count;
    }
    return count;
  }

  bool fireDueTimer() {
    const double now = OVNClock::uptime();
    TimerEntry entry;
    {
      std::lock_guard guard(lock);
      if (timers.empty() || timers.begin()->first.deadline > now) return false;
      entry = std::move(timers.extract(timers.begin()).mapped());
    }
    struct Expire {
      OVNTimer* timer;
      ~Expire() {
        if (timer) timer->valid_.store(false, std::memory_order_release);
      }
    } expire{entry.timer.get()};
    if (!entry.timer || entry.timer->isValid()) entry.block();
    return true;
  }

  // One round: the blocks ready now, then the earliest due timer.
  std::size_t runRound() {
    std::size_t ran = runBlocks();
    if (fireDueTimer()) ++ran;
    return ran;
  }

  bool takeStopRequest() {
    std::lock_guard guard(lock);
    return std::exchange(stopRequested, false);
  }

  // Sleeps until work is posted, a timer is due, stop() is called or `limit` passes;
  // returns at once when any of these already holds.
  void sleep(std::optional<SteadyTime> limit) {
    std::unique_lock guard(lock);
    if (!pending.empty() || stopRequested || cursor < batch.size()) return;
    std::optional<SteadyTime> until = limit;
    if (!timers.empty()) {
      const double remaining = timers.begin()->first.deadline - OVNClock::uptime();
      if (remaining <= 0) return;
      if (!OVNClock::isOverridden()) {
        const auto due = steadyTimeAfter(remaining);
        until = until ? std::min(*until, due) : due;
      }
    }
    ++sleepers;
    if (until) {
      wake.wait_until(guard, *until);
    } else {
      wake.wait(guard);
    }
    --sleepers;
  }
};

OVNRunLoop::OVNRunLoop() : impl_(std::make_unique<Impl>()) {}
OVNRunLoop::~OVNRunLoop() = default;

OVNRunLoop& OVNRunLoop::main() {
  // Never destroyed: pool threads may still post to the main queue while the process exits.
  static OVNRunLoop* const loop = new OVNRunLoop();
  return *loop;
}

std::size_t OVNRunLoop::drain() {
  Impl::DriveScope drive(*impl_);
  OVNDispatchQueue::ExecutionScope scope(*OVNDispatchQueue::main());
  std::size_t total = 0;
  while (std::size_t ran = impl_->runRound()) total += ran;
  return total;
}

void OVNRunLoop::run() {
  Impl::DriveScope drive(*impl_);
  Impl::RunScope running(*impl_);
  OVNDispatchQueue::ExecutionScope scope(*OVNDispatchQueue::main());
  for (;;) {
    const std::size_t ran = impl_->runRound();
    if (impl_->takeStopRequest()) return;
    if (ran == 0) impl_->sleep(std::nullopt);
  }
}

bool OVNRunLoop::runUntil(const std::function<bool()>& predicate, double timeoutSeconds) {
  Impl::DriveScope drive(*impl_);
  Impl::RunScope running(*impl_);
  OVNDispatchQueue::ExecutionScope scope(*OVNDispatchQueue::main());
  const auto deadline = steadyTimeAfter(timeoutSeconds);
  for (;;) {
    const std::size_t ran = impl_->runRound();
    if (predicate()) return true;
    if (impl_->takeStopRequest()) return false;
    const auto now = std::chrono::steady_clock::now();
    if (now >= deadline) return false;
    if (ran == 0) impl_->sleep(std::min(deadline, now + predicatePollInterval));
  }
}

void OVNRunLoop::stop() {
  std::lock_guard guard(impl_->lock);
  if (impl_->activeRuns == 0) return;
  impl_->stopRequested = true;
  impl_->wake.notify_all();
}

void OVNRunLoop::setWakeUpHandler(std::function<void()> handler) {
  auto shared = handler ? std::make_shared<const Block>(std::move(handler)) : nullptr;
  std::lock_guard guard(impl_->lock);
  impl_->wakeUpHandler = std::move(shared);
}

std::optional<double> OVNRunLoop::secondsUntilNextTimer() const {
  auto deadline = earliestDeadline();
  if (!deadline) return std::nullopt;
  return std::max(0.0, *deadline - OVNClock::uptime());
}

void OVNRunLoop::enqueue(std::function<void()> block) {
  std::shared_ptr<const Block> handler;
  {
    std::lock_guard guard(impl_->lock);
    const bool wasEmpty = impl_->pending.empty();
    impl_->pending.push_back(std::move(block));
    // A non-empty queue has already been announced and not yet drained.
    if (wasEmpty) {
      if (impl_->sleepers > 0) impl_->wake.notify_all();
      handler = impl_->wakeUpHandler;
    }
  }
  if (handler) (*handler)();
}

void OVNRunLoop::addTimer(double deadline, std::function<void()> block, std::shared_ptr<OVNTimer> timer) {
  std::shared_ptr<const Block> handler;
  {
    std::lock_guard guard(impl_->lock);
    Impl::TimerKey key{deadline, impl_->nextSequence++};
    if (timer) {
      timer->deadline_.store(deadline, std::memory_order_relaxed);
      timer->sequence_ = key.sequence;
    }
    impl_->timers.emplace(key, Impl::TimerEntry{std::move(block), std::move(timer)});
    if (impl_->sleepers > 0) impl_->wake.notify_all();
    handler = impl_->wakeUpHandler;
  }
  if (handler) (*handler)();
}

void OVNRunLoop::removeTimer(const OVNTimer& timer) {
  Impl::TimerEntry removed;  // released after the lock, since the block's captures may be anything
  std::lock_guard guard(impl_->lock);
  auto it = impl_->timers.find(Impl::TimerKey{timer.deadline_.load(std::memory_order_relaxed), timer.sequence_});
  if (it == impl_->timers.end() || it->second.timer.get() != &timer) return;
  removed = std::move(it->second);
  impl_->timers.erase(it);
}

std::optional<double> OVNRunLoop::earliestDeadline() const {
  std::lock_guard guard(impl_->lock);
  if (impl_->timers.empty()) return std::nullopt;
  return impl_->timers.begin()->first.deadline;
}

void OVNRunLoop::shiftTimers(double offset) {
  std::map<Impl::TimerKey, Impl::TimerEntry> shifted;
  std::lock_guard guard(impl_->lock);
  for (auto& [key, entry] : impl_->timers) {
    const Impl::TimerKey moved{key.deadline + offset, key.sequence};
    if (entry.timer) entry.timer->deadline_.store(moved.deadline, std::memory_order_relaxed);
    shifted.emplace(moved, std::move(entry));
  }
  impl_->timers.swap(shifted);
  if (impl_->sleepers > 0) impl_->wake.notify_all();
}

void OVNRunLoop::discardTimers() {
  std::map<Impl::TimerKey, Impl::TimerEntry> discarded;
  {
    std::lock_guard guard(impl_->lock);
    discarded.swap(impl_->timers);
  }
  for (auto& [key, entry] : discarded) {
    if (entry.timer) entry.timer->valid_.store(false, std::memory_order_release);
  }
}

bool OVNRunLoop::isDrivenByAnotherThread() const {
  const pid_t driver = impl_->driver.load(std::memory_order_acquire);
  return driver != 0 && driver != currentThreadID();
}
