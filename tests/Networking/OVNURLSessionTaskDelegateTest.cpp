#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <vector>

#include "Networking/OVNURLSessionTaskDelegate.h"
#include "Platform/Dispatch/OVNOperationQueue.h"

namespace {

TEST(OVNURLSessionTaskDelegateTest, CompletionReleasesParkedWorkInOrderUnlessAClosureTakesIt) {
  for (const bool withClosure : {false, true}) {
    auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
    std::mutex mutex;
    std::vector<int> order;
    for (int i = 0; i < 3; ++i) {
      delegate->queue()->addOperationWithBlock([&, i] {
        std::lock_guard lock(mutex);
        order.push_back(i);
      });
    }
    std::optional<std::shared_ptr<OVNError>> closureError;
    if (withClosure) delegate->setTaskDidComplete([&](auto, auto, auto error) { closureError = error; });
    delegate->URLSessionTaskDidCompleteWithError(nullptr, nullptr, nullptr);
    EXPECT_EQ(delegate->queue()->isSuspended(), withClosure);
    EXPECT_EQ(closureError.has_value(), withClosure);
    if (!withClosure) {
      delegate->queue()->waitUntilAllOperationsAreFinished();
      EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    }
  }
}

TEST(OVNURLSessionTaskDelegateTest, DestructionCancelsParkedWorkAndLetsTheQueueEmpty) {
  auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
  std::atomic<bool> ran{false};
  delegate->queue()->addOperationWithBlock([&ran] { ran = true; });
  auto queue = delegate->queue();
  delegate.reset();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(ran);
}

}  // namespace
