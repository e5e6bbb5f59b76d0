#include "Platform/Dispatch/OVNOperation.h"

#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNOperation)

void OVNOperation::start() {
  State expected = State::Ready;
  const State next = isCancelled() ? State::Finished : State::Executing;
  if (!state_.compare_exchange_strong(expected, next, std::memory_order_acq_rel)) {
    OVNException::raise(OVNInvalidArgumentException, "an operation is started only once");
  }
  if (next == State::Executing) {
    // Waiters must not hang when main() throws; the exception still reaches the caller.
    struct Finisher {
      OVNOperation& operation;
      ~Finisher() { operation.finish(); }
    } finisher{*this};
    main();
  } else {
    finish();
  }
}

void OVNOperation::finish() {
  state_.store(State::Finished, std::memory_order_release);
  std::function<void()> completion;
  {
    std::lock_guard guard(lock_);
    completion = std::move(completionBlock_);
    completionBlock_ = nullptr;
  }
  if (completion) completion();
  std::lock_guard guard(lock_);
  done_ = true;
  finishedCondition_.notify_all();
}

std::function<void()> OVNOperation::completionBlock() const {
  std::lock_guard guard(lock_);
  return completionBlock_;
}

void OVNOperation::setCompletionBlock(std::function<void()> block) {
  std::lock_guard guard(lock_);
  completionBlock_ = std::move(block);
}

void OVNOperation::waitUntilFinished() {
  std::unique_lock guard(lock_);
  finishedCondition_.wait(guard, [this] { return done_; });
}
