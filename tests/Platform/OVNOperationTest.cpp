#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Platform/Dispatch/OVNBlockOperation.h"
#include "Platform/Dispatch/OVNOperation.h"
#include "Platform/Objects/OVNException.h"

namespace {
class CountingOperation : public OVNOperation {
 public:
  std::atomic<int> mains{0};
  void main() override { ++mains; }
};
}  // namespace

TEST(OVNOperationTest, CancelledBeforeStartFinishesWithoutRunningMain) {
  auto operation = OVNMake<CountingOperation>();
  bool completed = false;
  operation->setCompletionBlock([&] { completed = operation->isFinished(); });
  operation->cancel();
  operation->start();
  EXPECT_EQ(operation->mains, 0);
  EXPECT_TRUE(operation->isCancelled());
  EXPECT_TRUE(operation->isFinished());
  EXPECT_FALSE(operation->isExecuting());
  EXPECT_TRUE(completed) << "the completion block runs, after the operation is finished";
  EXPECT_FALSE(operation->completionBlock()) << "released once it ran";
  EXPECT_THROW(operation->start(), OVNException);
}

TEST(OVNOperationTest, WaitUntilFinishedReturnsAfterTheCompletionBlock) {
  auto operation = OVNMake<CountingOperation>();
  std::atomic<bool> completed{false};
  operation->setCompletionBlock([&] { completed = true; });
  std::thread runner([&] { operation->start(); });
  operation->waitUntilFinished();
  EXPECT_TRUE(operation->mains == 1 && completed);
  runner.join();
}

TEST(OVNOperationTest, BlockOperationRunsItsBlocksInOrderUntilCancelled) {
  std::vector<int> ran;
  auto operation = OVNBlockOperation::blockOperationWithBlock([&] { ran.push_back(1); });
  operation->addExecutionBlock([&] {
    ran.push_back(2);
    operation->cancel();
  });
  operation->addExecutionBlock([&] { ran.push_back(3); });
  operation->start();
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
  EXPECT_TRUE(operation->isFinished());
  EXPECT_THROW(operation->addExecutionBlock([] {}), OVNException);
}
