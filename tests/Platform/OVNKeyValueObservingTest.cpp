#include <gtest/gtest.h>

#include <thread>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/TestModels.h"

namespace {

// Records every change it is told about.
class Recorder : public OVNObject {
 public:
  struct Entry {
    std::string keyPath;
    OVNObject* object;
    OVNDictionaryRef change;
    void* context;
  };
  std::vector<Entry> entries;
  std::function<void()> onChange;

  void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef& object, const OVNDictionaryRef& change,
                              void* context) override {
    entries.push_back({keyPath, object.get(), change, context});
    if (onChange) onChange();
  }
};

const OVNDictionary& changeAt(const Recorder& r, std::size_t i) { return *r.entries.at(i).change; }

TEST(OVNKeyValueObservingTest, NewAndOldValuesOfAKeyValueCodingSet) {
  auto station = OVNMake<TestStation>();
  auto recorder = OVNMake<Recorder>();
  int context = 0;
  station->count = 1;
  station->addObserver(*recorder, "count", OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld, &context);
  station->setValue(2, "count");

  ASSERT_EQ(recorder->entries.size(), 1u);
  const auto& entry = recorder->entries[0];
  EXPECT_EQ(entry.keyPath, "count");
  EXPECT_EQ(entry.object, station.get());
  EXPECT_EQ(entry.context, &context);
  EXPECT_EQ(entry.change->objectForKey("kind").longLongValue(), 1);
  EXPECT_EQ(entry.change->objectForKey("old").longLongValue(), 1);
  EXPECT_EQ(entry.change->objectForKey("new").longLongValue(), 2);
  EXPECT_FALSE(entry.change->contains("notificationIsPrior"));
}

TEST(OVNKeyValueObservingTest, InitialAtRegistrationAndPriorBeforeNew) {
  auto station = OVNMake<TestStation>();
  auto recorder = OVNMake<Recorder>();
  station->title = "before";
  station->addObserver(*recorder, "title",
                       OVNKeyValueObservingOptionInitial | OVNKeyValueObservingOptionPrior |
                           OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld,
                       nullptr);
  ASSERT_EQ(recorder->entries.size(), 1u);  // initial, told at once, new value only
  EXPECT_EQ(changeAt(*recorder, 0).objectForKey("new").description(), "before");
  EXPECT_FALSE(changeAt(*recorder, 0).contains("old"));

  station->setValue(OVNValue(), "title");
  ASSERT_EQ(recorder->entries.size(), 3u);
  const auto& prior = changeAt(*recorder, 1);
  EXPECT_TRUE(prior.objectForKey("notificationIsPrior").boolValue().value_or(false));
  EXPECT_EQ(prior.objectForKey("old").description(), "before");
  EXPECT_FALSE(prior.contains("new"));
  const auto& after = changeAt(*recorder, 2);
  EXPECT_TRUE(after.objectForKey("new").isNull());  // nothing is reported as the null marker
  EXPECT_EQ(after.objectForKey("old").description(), "before");
}

TEST(OVNKeyValueObservingTest, ManualAnnouncementsAndOptOut) {
  auto station = OVNMake<TestStation>();
  auto recorder = OVNMake<Recorder>();
  station->addObserver(*recorder, "count", OVNKeyValueObservingOptionNew, nullptr);
  station->count = 5;  // a plain member write announces nothing
  EXPECT_TRUE(recorder->entries.empty());
  station->willChangeValueForKey("count");
  station->count = 6;
  station->didChangeValueForKey("count");
  ASSERT_EQ(recorder->entries.size(), 1u);
  EXPECT_EQ(changeAt(*recorder, 0).objectForKey("new").longLongValue(), 6);
  station->didChangeValueForKey("count");  // unpaired: ignored
  EXPECT_EQ(recorder->entries.size(), 1u);
  // A failed set announces nothing and leaves no pending change behind.
  EXPECT_THROW(station->setValue(OVNValue(), "count"), OVNException);
  station->setValue(7, "count");
  ASSERT_EQ(recorder->entries.size(), 2u);
  EXPECT_EQ(changeAt(*recorder, 1).objectForKey("new").longLongValue(), 7);
}

TEST(OVNKeyValueObservingTest, RemovalMatchesObserverKeyPathAndContext) {
  auto station = OVNMake<TestStation>();
  auto recorder = OVNMake<Recorder>();
  int a = 0, b = 0;
  station->addObserver(*recorder, "count", 0, &a);
  station->addObserver(*recorder, "count", 0, &b);
  station->setValue(1, "count");
  EXPECT_EQ(recorder->entries.size(), 2u);

  station->removeObserver(*recorder, "count", &a);
  recorder->entries.clear();
  station->setValue(2, "count");
  ASSERT_EQ(recorder->entries.size(), 1u);
  EXPECT_EQ(recorder->entries[0].context, &b);

  station->removeObserver(*recorder, "count");
  EXPECT_FALSE(station->hasObservers());
  EXPECT_THROW(station->removeObserver(*recorder, "count"), OVNException);
}

TEST(OVNKeyValueObservingTest, ObserverThatWentAwayIsNotCalled) {
  auto station = OVNMake<TestStation>();
  int calls = 0;
  {
    auto recorder = OVNMake<Recorder>();
    recorder->onChange = [&calls] { ++calls; };
    station->addObserver(*recorder, "count", 0, nullptr);
    station->setValue(1, "count");
  }
  station->setValue(2, "count");  // the registration is stale; nothing is called
  EXPECT_EQ(calls, 1);
}

TEST(OVNKeyValueObservingTest, DottedKeyPathsFollowEveryLevel) {
  auto station = OVNMake<TestStation>();
  auto first = OVNMake<TestPlace>();
  first->name = "first";
  station->place = first;
  auto recorder = OVNMake<Recorder>();
  station->addObserver(*recorder, "place.name", OVNKeyValueObservingOptionNew | OVNKeyValueObservingOptionOld, nullptr);

  first->setValue("renamed", "name");  // a change at the leaf
  ASSERT_EQ(recorder->entries.size(), 1u);
  EXPECT_EQ(recorder->entries[0].keyPath, "place.name");
  EXPECT_EQ(recorder->entries[0].object, station.get());
  EXPECT_EQ(changeAt(*recorder, 0).objectForKey("old").description(), "first");
  EXPECT_EQ(changeAt(*recorder, 0).objectForKey("new").description(), "renamed");

  auto second = OVNMake<TestPlace>();
  second->name = "second";
  station->setValue(second, "place");  // a change at the first level
  ASSERT_EQ(recorder->entries.size(), 2u);
  EXPECT_EQ(changeAt(*recorder, 1).objectForKey("new").description(), "second");

  first->setValue("ignored", "name");  // the old intermediate is no longer followed
  second->setValue("third", "name");
  ASSERT_EQ(recorder->entries.size(), 3u);
  EXPECT_EQ(changeAt(*recorder, 2).objectForKey("new").description(), "third");

  station->removeObserver(*recorder, "place.name");
  EXPECT_FALSE(second->hasObservers());
}

TEST(OVNKeyValueObservingTest, ConcurrentRegistrationAndChangesAreSafe) {
  auto station = OVNMake<TestStation>();
  std::atomic<int> calls{0};
  std::vector<std::shared_ptr<Recorder>> recorders;
  for (int i = 0; i < 4; ++i) {
    auto r = OVNMake<Recorder>();
    r->onChange = [&calls] { ++calls; };
    recorders.push_back(r);
  }
  std::thread registrar([&] {
    for (int round = 0; round < 200; ++round) {
      for (auto& r : recorders) station->addObserver(*r, "temperature", 0, nullptr);
      for (auto& r : recorders) station->removeObserver(*r, "temperature");
    }
  });
  auto other = OVNMake<TestStation>();
  auto steady = OVNMake<Recorder>();
  other->addObserver(*steady, "temperature", 0, nullptr);
  for (int i = 0; i < 200; ++i) {
    station->setValue(static_cast<double>(i), "temperature");
    other->setValue(static_cast<double>(i), "temperature");
  }
  registrar.join();
  EXPECT_EQ(steady->entries.size(), 200u);
  EXPECT_FALSE(station->hasObservers());
}

}  // namespace
