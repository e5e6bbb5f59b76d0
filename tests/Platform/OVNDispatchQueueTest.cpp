#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Objects/OVNException.h"

namespace {

constexpr double timeout = 10.0;
constexpr int producers = 4;
constexpr int blocksPerProducer = 500;

// Posts from several threads at once; each block records (producer, index).
template <class Post>
void postFromThreads(Post post) {
  std::vector<std::thread> threads;
  for (int p = 0; p < producers; ++p) {
    threads.emplace_back([p, &post] {
      for (int i = 0; i < blocksPerProducer; ++i) post(p, i);
    });
  }
  for (auto& t : threads) t.join();
}

// Each producer's blocks must have run in the order it posted them, all of them.
void expectPerProducerOrder(const std::vector<std::pair<int, int>>& ran) {
  ASSERT_EQ(ran.size(), std::size_t(producers * blocksPerProducer));
  std::vector<int> next(producers, 0);
  for (auto [p, i] : ran) {
    ASSERT_EQ(i, next[p]) << "producer " << p;
    ++next[p];
  }
}

// Two blocks that each wait for the other: they finish only when run concurrently.
bool rendezvous(std::mutex& lock, std::condition_variable& arrived, int& count) {
  std::unique_lock guard(lock);
  ++count;
  arrived.notify_all();
  return arrived.wait_for(guard, std::chrono::seconds(5), [&] { return count == 2; });
}

void expectDeadlockError(const std::function<void()>& call) {
  try {
    call();
    ADD_FAILURE() << "expected an exception";
  } catch (const OVNException& e) {
    EXPECT_EQ(e.name(), OVNInternalInconsistencyException);
    EXPECT_NE(e.reason().find("deadlock"), std::string::npos) << e.reason();
  }
}

}  // namespace

TEST(OVNDispatchQueueTest, MainQueueRunsBlocksFromManyThreadsInPostingOrderOnTheLoopThread) {
  std::vector<std::pair<int, int>> ran;  // touched only on the main queue
  std::atomic<int> offMain{0};
  postFromThreads([&](int p, int i) {
    OVNDispatchQueue::main()->async([&, p, i] {
      if (!OVNDispatchQueue::isMainThread() || !OVNDispatchQueue::main()->isCurrent()) ++offMain;
      ran.emplace_back(p, i);
    });
  });
  EXPECT_TRUE(ran.empty()) << "main-queue blocks run only when the loop runs";
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return ran.size() == producers * blocksPerProducer; }, timeout));
  expectPerProducerOrder(ran);
  EXPECT_EQ(offMain, 0);
  EXPECT_FALSE(OVNDispatchQueue::main()->isCurrent());
}

TEST(OVNDispatchQueueTest, SerialQueueRunsOneBlockAtATimeInPostingOrder) {
  auto queue = OVNDispatchQueue::createSerial("test.serial");
  std::vector<std::pair<int, int>> ran;  // touched only on the queue
  std::atomic<int> active{0};
  std::atomic<int> overlaps{0};
  postFromThreads([&](int p, int i) {
    queue->async([&, p, i] {
      if (active.fetch_add(1) != 0) ++overlaps;
      ran.emplace_back(p, i);
      if (!queue->isCurrent()) ++overlaps;
      active.fetch_sub(1);
    });
  });
  queue->sync([] {});  // after every block posted before it
  expectPerProducerOrder(ran);
  EXPECT_EQ(overlaps, 0);
  EXPECT_FALSE(queue->isCurrent());
}

TEST(OVNDispatchQueueTest, SyncReturnsAfterTheBlockRanAndRethrowsItsException) {
  auto queue = OVNDispatchQueue::createSerial("test.sync");
  int value = 0;
  queue->async([&] { value = 1; });
  queue->sync([&] { value *= 10; });
  EXPECT_EQ(value, 10);
  EXPECT_THROW(queue->sync([] { throw std::runtime_error("inside"); }), std::runtime_error);
  queue->sync([&] { value = 11; });  // the queue still works
  EXPECT_EQ(value, 11);

  bool inline_ = false;
  OVNDispatchQueue::global()->sync([&] { inline_ = OVNDispatchQueue::global()->isCurrent(); });
  EXPECT_TRUE(inline_);
}

TEST(OVNDispatchQueueTest, SyncOntoTheQueueAlreadyHeldThrowsInsteadOfDeadlocking) {
  auto a = OVNDispatchQueue::createSerial("test.a");
  auto b = OVNDispatchQueue::createSerial("test.b");
  a->sync([&] { expectDeadlockError([&] { a->sync([] {}); }); });
  // Held through an outer sync whose block runs on another thread.
  a->sync([&] { b->sync([&] { expectDeadlockError([&] { a->sync([] {}); }); }); });
  // A concurrent queue in between does not hide it.
  a->sync([&] { OVNDispatchQueue::global()->sync([&] { expectDeadlockError([&] { a->sync([] {}); }); }); });

  expectDeadlockError([] { OVNDispatchQueue::main()->sync([] {}); });
  bool checked = false;
  OVNDispatchQueue::main()->async([&] {
    expectDeadlockError([] { OVNDispatchQueue::main()->sync([] {}); });
    checked = true;
  });
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return checked; }, timeout));
}

TEST(OVNDispatchQueueTest, SyncOntoTheMainQueueFromAPoolThreadRunsOnTheMainThread) {
  std::atomic<bool> done{false};
  bool onMain = false;
  OVNDispatchQueue::global()->async([&] {
    OVNDispatchQueue::main()->sync([&] { onMain = OVNDispatchQueue::isMainThread(); });
    done = true;
  });
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return done.load(); }, timeout));
  EXPECT_TRUE(onMain);
}

TEST(OVNDispatchQueueTest, GlobalQueueRunsBlocksConcurrently) {
  for (auto qos : {OVNQualityOfService::Default, OVNQualityOfService::Background}) {
    std::mutex lock;
    std::condition_variable arrived;
    int count = 0;
    std::atomic<int> met{0};
    std::atomic<int> finished{0};
    for (int i = 0; i < 2; ++i) {
      OVNDispatchQueue::global(qos)->async([&] {
        if (rendezvous(lock, arrived, count)) ++met;
        ++finished;
      });
    }
    ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return finished == 2; }, timeout));
    EXPECT_EQ(met, 2) << "qos " << static_cast<int>(qos);
  }
}

TEST(OVNDispatchQueueTest, AfterFiresExactlyUnderTheTestClock) {
  OVNTestClock clock(1000.0);
  auto serial = OVNDispatchQueue::createSerial("test.after");
  bool mainFired = false;
  bool serialFired = false;  // touched only on `serial`
  OVNDispatchQueue::main()->after(0.5, [&] { mainFired = true; });
  serial->after(0.5, [&] { serialFired = true; });

  clock.advance(0.49);
  EXPECT_FALSE(mainFired);
  serial->sync([&] { EXPECT_FALSE(serialFired); });
  clock.advance(0.01);
  EXPECT_TRUE(mainFired);
  serial->sync([&] { EXPECT_TRUE(serialFired); });
}

TEST(OVNDispatchQueueTest, AfterOnAPoolQueueFiresWithTheSystemClock) {
  std::atomic<bool> fired{false};
  OVNDispatchQueue::createSerial("test.after.real")->after(0.01, [&] { fired = true; });
  EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return fired.load(); }, timeout));
}
