#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/System/OVNApplication.h"
#include "Platform/System/OVNMemoryStore.h"

namespace {

std::string key(int i) { return "key-" + std::to_string(i); }

std::vector<int> survivors(OVNMemoryStore& store, int stored) {
  std::vector<int> kept;
  for (int i = 0; i < stored; ++i) {
    if (store.objectForKey(key(i)).isPresent()) kept.push_back(i);
  }
  return kept;
}

// Runs a callback when destroyed: a value that reaches back into its store.
class Reentrant : public OVNObject {
 public:
  explicit Reentrant(std::function<void()> onDestroy) : onDestroy_(std::move(onDestroy)) {}
  ~Reentrant() override { onDestroy_(); }

 private:
  std::function<void()> onDestroy_;
};

}  // namespace

TEST(OVNMemoryStoreTest, StoresReplacesAndRemoves) {
  OVNMemoryStore store("store");
  EXPECT_EQ(store.name(), "store");
  EXPECT_TRUE(store.objectForKey("a").isMissing());
  store.setObject("one", "a");
  store.setObject(2, "a", 5);
  store.setObject("b", "");  // the empty key is a key like any other
  EXPECT_EQ(store.objectForKey("a"), OVNValue(2));
  EXPECT_EQ(store.objectForKey(""), OVNValue("b"));
  EXPECT_EQ(store.count(), 2u);
  EXPECT_EQ(store.totalCost(), 5u);
  store.setObject(OVNValue(), "a");  // a missing value removes
  EXPECT_TRUE(store.objectForKey("a").isMissing());
  store.removeObjectForKey("");
  EXPECT_EQ(store.count(), 0u);
  EXPECT_EQ(store.totalCost(), 0u);
  store.setObject(1, "x");
  store.removeAllObjects();
  EXPECT_EQ(store.count(), 0u);
  EXPECT_TRUE(store.objectForKey("x").isMissing());
}

// Eviction follows use across the whole store, whichever shard a key falls in.
TEST(OVNMemoryStoreTest, LimitsEvictTheLeastRecentlyUsed) {
  OVNMemoryStore store;
  store.setCountLimit(40);
  for (int i = 0; i < 40; ++i) store.setObject(i, key(i));
  for (int i = 0; i < 20; i += 2) (void)store.objectForKey(key(i));  // the even keys below 20 are now newest
  for (int i = 40; i < 60; ++i) store.setObject(i, key(i));
  std::vector<int> expected;
  for (int i = 0; i < 20; i += 2) expected.push_back(i);
  for (int i = 30; i < 60; ++i) expected.push_back(i);
  EXPECT_EQ(survivors(store, 60), expected) << "the ten odd keys below 20 and keys 20-29 were used least recently";

  store.setCountLimit(0);
  store.setTotalCostLimit(100);
  store.removeAllObjects();
  for (int i = 0; i < 10; ++i) store.setObject(i, key(i), 20);
  EXPECT_EQ(survivors(store, 10), (std::vector<int>{5, 6, 7, 8, 9}));
  EXPECT_EQ(store.totalCost(), 100u);
  store.setObject("huge", "huge", 101);  // costlier than the limit: goes at once, with the rest
  EXPECT_EQ(store.count(), 0u);
  store.setObject(1, key(1), 60);
  store.setTotalCostLimit(50);  // lowering a limit evicts at once
  EXPECT_EQ(store.count(), 0u);
}

TEST(OVNMemoryStoreTest, MemoryWarningDropsTheOlderHalfOfEveryStore) {
  OVNMemoryStore first;
  OVNMemoryStore second;
  for (int i = 0; i < 200; ++i) first.setObject(i, key(i));
  second.setObject(1, "only");
  for (int i = 100; i < 200; ++i) (void)first.objectForKey(key(i));
  for (int i = 0; i < 50; ++i) (void)first.objectForKey(key(i));  // newest of all
  OVNNotificationCenter::defaultCenter().post(std::string(OVNApplicationDidReceiveMemoryWarningNotification));
  const std::vector<int> kept = survivors(first, 200);
  // Halves are taken per shard, so the count is near 100; no key of 50-99, which were used
  // least recently, may outlive a more recently used key of the same shard.
  EXPECT_NEAR(static_cast<double>(kept.size()), 100.0, 16.0);
  EXPECT_GE(std::count_if(kept.begin(), kept.end(), [](int i) { return i < 50; }), 40);
  EXPECT_LE(std::count_if(kept.begin(), kept.end(), [](int i) { return i >= 50 && i < 100; }), 10);
  EXPECT_EQ(second.count(), 0u) << "a lone entry is its store's older half";
}

// Values leave the store with no lock held, so their destructors may use it.
TEST(OVNMemoryStoreTest, ValuesMayUseTheStoreWhileTheyAreDestroyed) {
  OVNMemoryStore store;
  std::atomic<int> destroyed{0};
  auto reentrant = [&] {
    return OVNValue(std::make_shared<Reentrant>([&] {
      store.setObject("written while destroyed", "side");
      (void)store.objectForKey("side");
      ++destroyed;
    }));
  };
  store.setObject(reentrant(), "a");
  store.setObject(1, "a");  // replaced
  store.setObject(reentrant(), "b");
  store.removeObjectForKey("b");
  store.setObject(reentrant(), "c");
  store.removeAllObjects();
  store.setCountLimit(1);
  store.setObject(reentrant(), "d");
  store.setObject(2, "e");  // evicts d (and the side entry) under the limit
  EXPECT_EQ(destroyed.load(), 4);
}

// For the thread sanitizer: lookups, stores, removals, eviction and memory warnings at once.
TEST(OVNMemoryStoreTest, ConcurrentUseKeepsTheCountsTrue) {
  OVNMemoryStore store;
  store.setCountLimit(300);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&store, t] {
      for (int i = 0; i < 5000; ++i) {
        const std::string k = key((i * 7 + t) % 500);
        if (i % 5 == 0) {
          store.removeObjectForKey(k);
        } else if (i % 2 == 0) {
          store.setObject(i, k, 1);
        } else {
          (void)store.objectForKey(k);
        }
        if (t == 0 && i % 1000 == 0) {
          OVNNotificationCenter::defaultCenter().post(std::string(OVNApplicationDidReceiveMemoryWarningNotification));
        }
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_LE(store.count(), 300u);
  EXPECT_EQ(store.count(), survivors(store, 500).size());
  EXPECT_EQ(store.totalCost(), store.count());
}
