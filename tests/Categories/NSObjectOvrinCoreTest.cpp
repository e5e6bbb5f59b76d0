#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Categories/NSObject+OvrinCore.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNArray.h"

namespace {

TEST(NSObjectOvrinCoreTest, DelayedBlockRunsOnTheMainQueueAfterItsDelay) {
  OVNTestClock clock(1000.0);
  std::vector<std::string> order;
  ovn_performBlock([&] { order.push_back("delayed"); }, 0.5);
  clock.advance(0.49);
  EXPECT_TRUE(order.empty());
  clock.advance(0.01);
  EXPECT_EQ(order, std::vector<std::string>{"delayed"});
}

TEST(NSObjectOvrinCoreTest, ZeroDelayStillWaitsForTheCurrentMainQueueWork) {
  OVNTestClock clock(1000.0);
  std::vector<std::string> order;
  OVNDispatchQueue::main()->async([&] {
    ovn_performBlock([&] { order.push_back("delayed"); }, 0);
    order.push_back("current");
  });
  clock.advance(0);
  EXPECT_EQ(order, (std::vector<std::string>{"current", "delayed"}));
}

TEST(NSObjectOvrinCoreTest, CancelledBlockNeverRunsAndLateCancelIsHarmless) {
  OVNTestClock clock(1000.0);
  int cancelledRuns = 0;
  int keptRuns = 0;
  OVNCancelableBlock cancelled = ovn_performBlock([&] { ++cancelledRuns; }, 1.0);
  OVNCancelableBlock kept = ovn_performBlock([&] { ++keptRuns; }, 1.0);
  ovn_cancelBlock(cancelled);
  clock.advance(2.0);
  EXPECT_EQ(cancelledRuns, 0);
  EXPECT_EQ(keptRuns, 1);
  ovn_cancelBlock(kept);
  ovn_cancelBlock(OVNCancelableBlock());
  clock.advance(2.0);
  EXPECT_EQ(keptRuns, 1);
}

TEST(NSObjectOvrinCoreTest, MainThreadBlockMakesTheCallerWait) {
  std::atomic<bool> ranOnMain{false};
  std::atomic<bool> returned{false};
  std::thread worker([&] {
    ovn_performBlockOnMainThread([&] { ranOnMain = OVNDispatchQueue::main()->isCurrent(); });
    returned = ranOnMain.load();
  });
  OVNRunLoop::main().runUntil([&] { return returned.load(); }, 10.0);
  worker.join();
  EXPECT_TRUE(ranOnMain);
  EXPECT_TRUE(returned);
  EXPECT_THROW(ovn_performBlockOnMainThread([] {}), OVNException) << "waiting on itself would deadlock";
}

TEST(NSObjectOvrinCoreTest, BackgroundBlockRunsOffTheCallingThread) {
  std::atomic<bool> done{false};
  std::thread::id ranOn;
  const std::thread::id caller = std::this_thread::get_id();
  ovn_performBlockInBackground([&] {
    ranOn = std::this_thread::get_id();
    done = true;
  });
  OVNRunLoop::main().runUntil([&] { return done.load(); }, 10.0);
  ASSERT_TRUE(done);
  EXPECT_NE(ranOn, caller);
}

class DescribedStation : public OVNObject {
  OVN_CLASS(DescribedStation, OVNObject)
 public:
  std::string name;
  std::int64_t id = 0;
};

class DescribedSubStation : public DescribedStation {
  OVN_CLASS(DescribedSubStation, DescribedStation)
 public:
  double elevation = 0;
  std::optional<std::string> note;
  OVNArrayRef readings;
  std::string summary_;  // exposed as "description", which descriptions leave out
};

TEST(NSObjectOvrinCoreTest, AutoDescriptionListsPropertiesAncestorsFirst) {
  auto station = OVNMake<DescribedStation>();
  station->name = "Austin";
  station->id = 7;
  EXPECT_EQ(ovn_autoDescription(*station), "<DescribedStation: name=Austin, id=7>");

  auto sub = OVNMake<DescribedSubStation>();
  sub->name = "Austin";
  sub->id = 7;
  sub->elevation = 149.5;
  sub->readings = OVNArray::make({1, "two"});
  sub->summary_ = "hidden";
  EXPECT_EQ(ovn_autoDescription(*sub),
            "<DescribedSubStation: name=Austin, id=7, elevation=149.5, note=(null), readings=(\n    1,\n    two\n)>");
  EXPECT_EQ(ovn_autoDescriptionForClassType(*sub, DescribedStation::classObject()), "name=Austin, id=7");
  EXPECT_EQ(ovn_autoPropertiesDescriptionInArrayFormForClassType(*sub, DescribedSubStation::classObject()).size(), 5u);
  EXPECT_TRUE(ovn_autoPropertiesDescriptionInArrayFormForClassType(*sub, OVNObject::classObject()).empty());
  EXPECT_EQ(ovn_autoDescription(*OVNMake<OVNObject>()), "<NSObject: >");
  EXPECT_THROW(ovn_autoDescriptionForClassType(*station, DescribedSubStation::classObject()), OVNException)
      << "a station is not a sub-station";
}

}  // namespace

OVN_PROPERTIES(DescribedStation, name, id)
OVN_PROPERTIES(DescribedSubStation, elevation, note, readings, (description, stored_as, summary_))
