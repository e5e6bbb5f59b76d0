#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Dispatch/OVNTimer.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNClock.h"
#include "Platform/Values/OVNDate.h"

TEST(OVNTestClockTest, DrivesTheClocksAndRestoresTheSystemClock) {
  {
    OVNTestClock clock(100.0);
    EXPECT_DOUBLE_EQ(OVNDate::now().timeIntervalSinceReferenceDate(), 100.0);
    clock.advance(2.5);
    EXPECT_DOUBLE_EQ(OVNClock::absoluteTime(), 102.5);
    EXPECT_DOUBLE_EQ(OVNClock::uptime(), 102.5);
    EXPECT_THROW(OVNTestClock second, OVNException);
    EXPECT_THROW(clock.advance(-1), OVNException);
  }
  EXPECT_FALSE(OVNClock::isOverridden());
  EXPECT_GT(OVNDate::now().timeIntervalSinceReferenceDate(), 600'000'000.0);  // after 2020
}

TEST(OVNTestClockTest, KeepsTheTimeLeftOnEarlierTimersAndDiscardsPendingOnesAtTheEnd) {
  bool earlierFired = false;
  auto earlier = OVNTimer::scheduledTimer(100, [&](OVNTimer&) { earlierFired = true; });
  std::shared_ptr<OVNTimer> pending;
  {
    OVNTestClock clock(0.0);
    clock.advance(99.9);
    EXPECT_FALSE(earlierFired);
    clock.advance(0.2);
    EXPECT_TRUE(earlierFired);
    pending = OVNTimer::scheduledTimer(5, [](OVNTimer&) { ADD_FAILURE() << "outlived its test clock"; });
  }
  EXPECT_FALSE(pending->isValid());
  EXPECT_EQ(OVNRunLoop::main().secondsUntilNextTimer(), std::nullopt);
}

TEST(OVNTestClockTest, AdvanceFromAnotherThreadFiresTimersOnTheLoopThread) {
  OVNTestClock clock;
  bool firedOnMain = false;
  OVNTimer::scheduledTimer(1, [&](OVNTimer&) { firedOnMain = OVNDispatchQueue::isMainThread(); });
  std::atomic<bool> advanced{false};
  std::thread other;
  // Started from a main-queue block, so the main thread is driving the loop meanwhile and
  // advance() is carried out there.
  OVNDispatchQueue::main()->async([&] {
    other = std::thread([&] {
      clock.advance(1);
      advanced = true;
    });
  });
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return advanced.load(); }, 10.0));
  other.join();
  EXPECT_TRUE(firedOnMain);
}
