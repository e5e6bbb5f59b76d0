#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Dispatch/OVNTimer.h"

TEST(OVNTimerTest, FiresOnceAtItsDeadlineUnderTheTestClock) {
  OVNTestClock clock(5000.0);
  int fired = 0;
  bool validWhileFiring = false;
  bool onMain = false;
  auto timer = OVNTimer::scheduledTimer(0.5, [&](OVNTimer& t) {
    ++fired;
    validWhileFiring = t.isValid();
    onMain = OVNDispatchQueue::main()->isCurrent();
  });
  EXPECT_DOUBLE_EQ(timer->fireDate().timeIntervalSinceReferenceDate(), 5000.5);

  clock.advance(0.49);
  EXPECT_EQ(fired, 0);
  EXPECT_TRUE(timer->isValid());
  clock.advance(0.01);
  EXPECT_EQ(fired, 1);
  EXPECT_TRUE(validWhileFiring);
  EXPECT_TRUE(onMain);
  EXPECT_FALSE(timer->isValid());
  clock.advance(10);
  EXPECT_EQ(fired, 1);
}

TEST(OVNTimerTest, InvalidatedTimerNeverFires) {
  OVNTestClock clock;
  bool fired = false;
  auto timer = OVNTimer::scheduledTimer(1, [&](OVNTimer&) { fired = true; });
  std::thread([&] { timer->invalidate(); }).join();  // from any thread
  EXPECT_FALSE(timer->isValid());
  clock.advance(2);
  EXPECT_FALSE(fired);

  // A timer may invalidate another one that is due at the same moment.
  std::shared_ptr<OVNTimer> second;
  OVNTimer::scheduledTimer(1, [&](OVNTimer&) { second->invalidate(); });
  second = OVNTimer::scheduledTimer(1, [&](OVNTimer&) { fired = true; });
  clock.advance(1);
  EXPECT_FALSE(fired);
}

TEST(OVNTimerTest, TimersFireInDeadlineOrderWithTheClockAtEachDeadline) {
  OVNTestClock clock(0.0);
  std::vector<std::string> fired;
  auto record = [&](std::string name) {
    return [&fired, &clock, name](OVNTimer&) { fired.push_back(name + "@" + std::to_string(clock.now())); };
  };
  auto late = OVNTimer::scheduledTimer(0.3, record("late"));
  auto early = OVNTimer::scheduledTimer(0.1, [&](OVNTimer&) {
    fired.push_back("early@" + std::to_string(clock.now()));
    OVNDispatchQueue::main()->async([&] { fired.push_back("posted by early"); });
    // Scheduled while firing and due before the advance ends: fires in the same advance.
    OVNTimer::scheduledTimer(0.05, record("chained"));
  });
  auto sameAsEarly = OVNTimer::scheduledTimer(0.1, record("sameAsEarly"));

  clock.advance(1);
  EXPECT_EQ(fired, (std::vector<std::string>{"early@0.100000", "posted by early", "sameAsEarly@0.100000",
                                             "chained@0.150000", "late@0.300000"}));
  EXPECT_DOUBLE_EQ(clock.now(), 1.0);
}

TEST(OVNTimerTest, FiresWithTheSystemClockWhileTheLoopRuns) {
  bool fired = false;
  OVNTimer::scheduledTimer(0.01, [&](OVNTimer&) { fired = true; });  // kept by the run loop
  EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return fired; }, 10.0));
}
