#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Cache/OVNCache.h"
#include "Cache/OVNCachedContent.h"
#include "Cache/OVNDiskCache.h"
#include "Cache/OVNMemoryCache.h"
#include "Cache/OVNNullCache.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/System/OVNMemoryStore.h"
#include "Platform/Values/OVNData.h"

namespace {

// A subclass that overrides nothing, for the abstract operations.
class BareCache : public OVNCache {
  OVN_CLASS(BareCache, OVNCache)
};

// A subclass asking for the memory caches' shared instance before anyone else does.
class FirstSharedMemoryCache : public OVNMemoryCache {
  OVN_CLASS(FirstSharedMemoryCache, OVNMemoryCache)
};

std::string reasonOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const OVNException& e) {
    return std::string(e.name()) + ": " + e.reason();
  }
  return "nothing raised";
}

const OVNDate kNow(800000000.0);

}  // namespace

OVN_PROPERTIES(BareCache)
OVN_PROPERTIES(FirstSharedMemoryCache)

TEST(OVNCachedContentTest, EqualityNeedsAValueAndAnExpiryOnTheReceiver) {
  const OVNDate later(900.0);
  auto content = [](OVNValue object, std::optional<OVNDate> expires) {
    return OVNCachedContent::cachedContentWithObject(std::move(object), expires);
  };
  const auto full = content("v", later);
  const auto noExpiry = content("v", std::nullopt);
  const auto noValue = content(OVNValue(), later);
  struct Case {
    OVNCachedContentRef left, right;
    bool equal;
  };
  for (const Case& c : std::vector<Case>{{full, content("v", later), true},
                                         {full, content("w", later), false},
                                         {full, content("v", OVNDate(901.0)), false},
                                         {full, noExpiry, false},
                                         {noExpiry, content("v", std::nullopt), false},
                                         {noValue, content(OVNValue(), later), false},
                                         {noExpiry, noExpiry, true},
                                         {noValue, noValue, true}}) {
    EXPECT_EQ(c.left->isEqual(*c.right), c.equal)
        << c.left->object().description() << " vs " << c.right->object().description();
  }
  EXPECT_FALSE(full->isEqual(*OVNMemoryCache::init()));
  EXPECT_EQ(full->hash(), content("v", later)->hash());
  EXPECT_EQ(noValue->hash(), content(1, later)->hash() ^ OVNValue(1).hash());

  // A copy shares the value and the expiry.
  auto shared = OVNValue::array({1, 2});
  auto copy = std::dynamic_pointer_cast<OVNCachedContent>(content(shared, later)->copy());
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->object().arrayPointer(), shared.arrayPointer());
  EXPECT_EQ(copy->expires(), later);
}

TEST(OVNCachedContentTest, ArchivesUnderObjectAndExpires) {
  const auto original = OVNCachedContent::cachedContentWithObject(OVNValue::dictionary({{"t", 21.5}}), OVNDate(5.0));
  std::shared_ptr<OVNError> error;
  auto data = OVNKeyedArchiver::archivedDataWithRootObject(original, false, &error);
  ASSERT_TRUE(data);
  auto restored = OVNKeyedUnarchiver::unarchiveObjectWithData(*data).objectAs<OVNCachedContent>();
  ASSERT_TRUE(restored);
  EXPECT_TRUE(restored->isEqual(*original));

  // Keys missing from the archive, or an expiry that is no date, read as absent.
  auto archiver = std::make_shared<OVNKeyedArchiver>();
  archiver->encodeObject("not a date", "expires");
  auto unarchiver = OVNKeyedUnarchiver::initForReadingFromData(*archiver->encodedData(), &error);
  auto partial = OVNMake<OVNCachedContent>();
  ASSERT_TRUE(partial->initWithCoder(*unarchiver));
  EXPECT_TRUE(partial->object().isMissing());
  EXPECT_FALSE(partial->expires());
}

TEST(OVNCacheTest, TheBaseLeavesFourOperationsToSubclasses) {
  auto cache = OVNCache::initWithName<BareCache>("bare");
  const std::string prefix = "NSInternalInconsistencyException: You must override ";
  EXPECT_EQ(reasonOf([&] { cache->objectForKey("k"); }), prefix + "objectForKey:expires:withContent: in a subclass");
  EXPECT_EQ(reasonOf([&] { cache->objectExistsForKey("k"); }),
            prefix + "objectForKey:expires:withContent: in a subclass");
  EXPECT_EQ(reasonOf([&] { cache->setObject(1, "k", 10.0); }), prefix + "setObject:forKey:expires: in a subclass");
  EXPECT_EQ(reasonOf([&] { cache->removeObjectForKey("k"); }), prefix + "removeObjectForKey: in a subclass");
  EXPECT_EQ(reasonOf([&] { cache->removeAllObjects(); }), prefix + "removeAllObjects in a subclass");
  EXPECT_TRUE(cache->objectInMemoryForKey("k").isMissing());
  EXPECT_EQ(cache->currentFilesize(), 0u);
  cache->setMaxFilesize(10);  // nothing to trim with a size of 0
  EXPECT_EQ(cache->maxFilesize(), 10u);
  EXPECT_EQ(OVNCache::init<BareCache>()->name(), "BareCache");
}

TEST(OVNCacheTest, SharedInstancesAreOnePerClassAndMadeAsTheirFirstReceiver) {
  auto memory = OVNMemoryCache::sharedCache<FirstSharedMemoryCache>();
  EXPECT_EQ(memory->className(), "FirstSharedMemoryCache");
  EXPECT_EQ(OVNMemoryCache::sharedCache(), memory);
  EXPECT_EQ(memory->name(), "OVNSharedCache");
  EXPECT_EQ(memory->internalCache().name(), "OVNSharedCache");
  EXPECT_EQ(OVNNullCache::sharedCache()->name(), "OVNSharedCache");
  std::vector<const OVNObject*> instances{memory.get(), OVNNullCache::sharedCache().get(),
                                          OVNDiskCache::sharedCache().get()};
  EXPECT_NE(instances[0], instances[1]);
  EXPECT_NE(instances[1], instances[2]);
  EXPECT_EQ(OVNMemoryCache::init()->name(), "OVNMemoryCache");
}

TEST(OVNMemoryCacheTest, ExpiryIsCheckedOnLookupWithTheClock) {
  OVNTestClock clock(kNow.timeIntervalSinceReferenceDate());
  auto cache = OVNMemoryCache::initWithName("expiry");
  cache->setObject("forever", "forever");
  cache->setObject("soon", "soon", 10.0);
  cache->setObject("now", "now", kNow);
  clock.advance(10);
  EXPECT_EQ(cache->objectInMemoryForKey("soon"), OVNValue("soon")) << "an expiry equal to now is still valid";
  EXPECT_EQ(cache->objectInMemoryForKey("now"), OVNValue());
  EXPECT_EQ(cache->internalCache().objectForKey("now"), OVNValue()) << "an expired record is removed on lookup";
  clock.advance(1);
  EXPECT_FALSE(cache->objectExistsForKey("soon"));
  EXPECT_TRUE(cache->internalCache().objectForKey("soon").isPresent()) << "the existence query removes nothing";
  EXPECT_TRUE(cache->objectExistsForKey("forever"));
  clock.advance(1e9);
  EXPECT_EQ(cache->objectInMemoryForKey("forever"), OVNValue("forever"));
  EXPECT_FALSE(cache->objectExistsForKey("never stored"));
  // A value put into the store directly cannot expire.
  cache->internalCache().setObject("raw", "raw");
  EXPECT_TRUE(cache->objectExistsForKey("raw"));
  cache->removeObjectForKey("forever");
  EXPECT_FALSE(cache->objectExistsForKey("forever"));
  cache->removeAllObjects();
  EXPECT_EQ(cache->internalCache().count(), 0u);
}

TEST(OVNMemoryCacheTest, LookupsFillOnMissAndUnwrapAHitTwice) {
  OVNTestClock clock(kNow.timeIntervalSinceReferenceDate());
  auto cache = OVNMemoryCache::initWithName("fill");
  int calls = 0;
  const auto make = [&calls] {
    ++calls;
    return OVNValue("made");
  };
  EXPECT_EQ(cache->objectForKey("k", 60.0, make), OVNValue("made"));
  EXPECT_EQ(cache->objectInMemoryForKey("k"), OVNValue("made"));
  // The callback's expiry dates what it made; a later lookup's expiry filters nothing.
  clock.advance(61);
  EXPECT_EQ(cache->objectForKey("k", OVNDate(0.0), make), OVNValue("made"));
  EXPECT_EQ(calls, 2);
  EXPECT_TRUE(cache->objectInMemoryForKey("k").isMissing()) << "made with an expiry already past";
  EXPECT_TRUE(cache->objectForKey("absent", [] { return OVNValue(); }).isMissing());
  EXPECT_FALSE(cache->objectExistsForKey("absent")) << "a callback without a value stores nothing";

  // A hit asks the value found for its `object` once more.
  cache->setObject(OVNCachedContent::cachedContentWithObject("inner", std::nullopt), "wrapped");
  EXPECT_EQ(cache->objectForKey("wrapped", make), OVNValue("inner"));
  cache->setObject("plain", "plain");
  EXPECT_EQ(reasonOf([&] {
              cache->objectForKey("plain");
            }).rfind("NSInvalidArgumentException: -[NSString object]: unrecognized selector sent to instance", 0),
            0u);
  EXPECT_EQ(calls, 2) << "a hit never calls the callback";

  // A stored missing value is wrapped all the same, and reads as a miss.
  cache->setObject(OVNValue(), "nil");
  EXPECT_TRUE(cache->objectExistsForKey("nil"));
  EXPECT_EQ(cache->objectForKey("nil", make), OVNValue("made"));
}

TEST(OVNNullCacheTest, KeepsNothingAndCallsTheCallbackEveryTime) {
  auto cache = OVNNullCache::init();
  EXPECT_EQ(cache->name(), "OVNNullCache");
  int calls = 0;
  for (int i = 0; i < 3; ++i) {
    cache->setObject(i, "k");
    EXPECT_EQ(cache->objectForKey("k", 5.0, [&] { return OVNValue(++calls); }), OVNValue(i + 1));
  }
  EXPECT_TRUE(cache->objectForKey("k").isMissing());
  EXPECT_TRUE(cache->objectInMemoryForKey("k").isMissing());
  EXPECT_FALSE(cache->objectExistsForKey("k"));
  cache->removeObjectForKey("k");
  cache->removeAllObjects();
}

// For the thread sanitizer: one memory cache shared by several threads.
TEST(OVNMemoryCacheTest, ConcurrentUse) {
  auto cache = OVNMemoryCache::initWithName("concurrent");
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        const std::string key = "k" + std::to_string(i % 64);
        if ((i + t) % 3 == 0) cache->setObject(i, key, 60.0);
        if (cache->objectInMemoryForKey(key).isPresent()) ++found;
        if (i % 97 == 0) cache->removeObjectForKey(key);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_GT(found.load(), 0);
  EXPECT_LE(cache->internalCache().count(), 64u);
}
