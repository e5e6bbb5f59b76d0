#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Objects/OVNException.h"

namespace {
constexpr double timeout = 10.0;
OVNRunLoop& loop() { return OVNRunLoop::main(); }
}  // namespace

TEST(OVNRunLoopTest, RunUntilReturnsFalseOnTimeoutAndTrueOnceThePredicateHolds) {
  EXPECT_FALSE(loop().runUntil([] { return false; }, 0.02));

  std::atomic<bool> doneElsewhere{false};  // set off the main queue, seen by polling
  OVNDispatchQueue::global()->async([&] { doneElsewhere = true; });
  EXPECT_TRUE(loop().runUntil([&] { return doneElsewhere.load(); }, timeout));

  int step = 0;
  OVNDispatchQueue::main()->async([&] { step = 1; });
  OVNDispatchQueue::main()->async([&] { step = 2; });
  EXPECT_TRUE(loop().runUntil([&] { return step == 2; }, timeout));
}

TEST(OVNRunLoopTest, StopEndsRunAfterTheReadyWork) {
  std::vector<int> ran;
  OVNDispatchQueue::main()->async([&] { ran.push_back(1); });
  OVNDispatchQueue::main()->async([&] {
    ran.push_back(2);
    loop().stop();
  });
  loop().run();
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));

  loop().stop();  // not running: ignored, so the next run is not cut short
  bool later = false;
  OVNDispatchQueue::main()->async([&] { later = true; });
  EXPECT_TRUE(loop().runUntil([&] { return later; }, timeout));
}

TEST(OVNRunLoopTest, DrainRunsReadyWorkIncludingWhatItPostsAndCountsIt) {
  std::vector<std::string> ran;
  OVNDispatchQueue::main()->async([&] {
    ran.push_back("a");
    OVNDispatchQueue::main()->async([&] { ran.push_back("c"); });
  });
  OVNDispatchQueue::main()->async([&] { ran.push_back("b"); });
  auto timer = OVNTimer::scheduledTimer(0, [&](OVNTimer&) { ran.push_back("timer"); });
  EXPECT_EQ(loop().drain(), 4u);
  // A round runs the blocks that were ready, then a due timer; "c" came during the round.
  EXPECT_EQ(ran, (std::vector<std::string>{"a", "b", "timer", "c"}));
  EXPECT_EQ(loop().drain(), 0u);
}

TEST(OVNRunLoopTest, NestedLoopContinuesTheQueueInOrder) {
  std::vector<std::string> ran;
  OVNDispatchQueue::main()->async([&] {
    ran.push_back("outer begins");
    loop().runUntil([&] { return ran.size() == 3; }, timeout);
    ran.push_back("outer ends");
  });
  OVNDispatchQueue::main()->async([&] { ran.push_back("second"); });
  OVNDispatchQueue::main()->async([&] { ran.push_back("third"); });
  loop().drain();
  EXPECT_EQ(ran, (std::vector<std::string>{"outer begins", "second", "third", "outer ends"}));
}

TEST(OVNRunLoopTest, AThrowingBlockLeavesDrainAndLaterBlocksStayQueued) {
  bool later = false;
  OVNDispatchQueue::main()->async([] { throw std::runtime_error("block failed"); });
  OVNDispatchQueue::main()->async([&] { later = true; });
  EXPECT_THROW(loop().drain(), std::runtime_error);
  EXPECT_FALSE(later);
  EXPECT_EQ(loop().drain(), 1u);
  EXPECT_TRUE(later);
}

TEST(OVNRunLoopTest, ASecondThreadCannotDriveTheLoopWhileOneDoes) {
  std::string failure;
  bool checked = false;
  OVNDispatchQueue::main()->async([&] {
    std::thread other([&] {
      try {
        loop().drain();
      } catch (const OVNException& e) {
        failure = e.name();
      }
    });
    other.join();
    checked = true;
  });
  ASSERT_TRUE(loop().runUntil([&] { return checked; }, timeout));
  EXPECT_EQ(failure, OVNInternalInconsistencyException);
}

TEST(OVNRunLoopTest, WakeUpHandlerIsCalledForPostedWorkAndNewTimers) {
  loop().drain();  // start from an empty queue
  std::atomic<int> wakeUps{0};
  loop().setWakeUpHandler([&] { ++wakeUps; });
  std::thread([] { OVNDispatchQueue::main()->async([] {}); }).join();
  EXPECT_EQ(wakeUps, 1);
  OVNDispatchQueue::main()->async([] {});  // queue not empty yet: already announced
  EXPECT_EQ(wakeUps, 1);
  EXPECT_EQ(loop().drain(), 2u);

  auto timer = OVNTimer::scheduledTimer(60, [](OVNTimer&) {});
  EXPECT_EQ(wakeUps, 2);
  ASSERT_TRUE(loop().secondsUntilNextTimer().has_value());
  EXPECT_GT(*loop().secondsUntilNextTimer(), 30.0);
  timer->invalidate();
  EXPECT_FALSE(loop().secondsUntilNextTimer().has_value());
  loop().setWakeUpHandler(nullptr);
}
