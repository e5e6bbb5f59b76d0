#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "Platform/Dispatch/OVNBlockOperation.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNException.h"

TEST(OVNOperationQueueTest, SuspendedQueueStartsNothingThenRunsOneAtATimeInOrder) {
  OVNOperationQueue queue;
  queue.setMaxConcurrentOperationCount(1);
  queue.setSuspended(true);
  constexpr int count = 20;
  std::vector<int> ran;  // one operation at a time touches it
  std::atomic<int> active{0};
  std::atomic<int> overlaps{0};
  for (int i = 0; i < count; ++i) {
    queue.addOperationWithBlock([&, i] {
      if (active.fetch_add(1) != 0) ++overlaps;
      ran.push_back(i);
      active.fetch_sub(1);
    });
  }
  EXPECT_EQ(queue.operationCount(), std::size_t(count));
  for (auto& operation : queue.operations()) EXPECT_FALSE(operation->isExecuting() || operation->isFinished());

  queue.setSuspended(false);
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  ASSERT_EQ(ran.size(), std::size_t(count));
  for (int i = 0; i < count; ++i) EXPECT_EQ(ran[i], i);
  EXPECT_EQ(overlaps, 0);
}

TEST(OVNOperationQueueTest, CancelAllFinishesWaitingOperationsWithoutRunningThem) {
  OVNOperationQueue queue;
  queue.setSuspended(true);
  std::atomic<int> mains{0};
  std::atomic<int> completions{0};
  std::vector<OVNOperationRef> added;
  for (int i = 0; i < 5; ++i) {
    auto operation = OVNBlockOperation::blockOperationWithBlock([&] { ++mains; });
    operation->setCompletionBlock([&] { ++completions; });
    queue.addOperation(operation);
    added.push_back(operation);
  }
  queue.cancelAllOperations();
  queue.setSuspended(false);
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(mains, 0);
  EXPECT_EQ(completions, 5);
  for (auto& operation : added) EXPECT_TRUE(operation->isCancelled() && operation->isFinished());
  EXPECT_THROW(queue.addOperation(added.front()), OVNException);
}

TEST(OVNOperationQueueTest, DefaultQueueRunsOperationsConcurrentlyAndWaitsForAll) {
  OVNOperationQueue queue;
  std::mutex lock;
  std::condition_variable arrived;
  int waiting = 0;
  std::atomic<int> met{0};
  for (int i = 0; i < 2; ++i) {
    queue.addOperationWithBlock([&] {
      std::unique_lock guard(lock);
      ++waiting;
      arrived.notify_all();
      if (arrived.wait_for(guard, std::chrono::seconds(5), [&] { return waiting == 2; })) ++met;
    });
  }
  std::atomic<int> others{0};
  for (int i = 0; i < 50; ++i) queue.addOperationWithBlock([&] { ++others; });
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(met, 2);
  EXPECT_EQ(others, 50);
}

TEST(OVNOperationQueueTest, MainQueueRunsOperationsOnTheMainThread) {
  bool onMain = false;
  bool done = false;
  OVNOperationQueue::mainQueue().addOperationWithBlock([&] {
    onMain = OVNDispatchQueue::isMainThread();
    done = true;
  });
  EXPECT_FALSE(done) << "posted, not run inline";
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return done; }, 10.0));
  EXPECT_TRUE(onMain);
}
