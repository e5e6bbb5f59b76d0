#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Values/OVNDictionary.h"

namespace {
class ChangeRecorder : public OVNObject {
 public:
  std::vector<std::pair<std::string, OVNValue>> changes;  // key path, new value
  void observeValueForKeyPath(const std::string& keyPath, const OVNObjectRef&, const OVNDictionaryRef& change,
                              void*) override {
    changes.emplace_back(keyPath, change->objectForKey(OVNKeyValueChangeNewKey));
  }
};
}  // namespace

TEST(OVNProgressTest, FractionCompleted) {
  auto progress = OVNMake<OVNProgress>();
  progress->setCompletedUnitCount(3);
  EXPECT_EQ(progress->fractionCompleted(), 0.0) << "no total yet";
  progress->setTotalUnitCount(4);
  EXPECT_DOUBLE_EQ(progress->fractionCompleted(), 0.75);
  EXPECT_FALSE(progress->isFinished());
  progress->setCompletedUnitCount(4);
  EXPECT_TRUE(progress->isFinished());
  EXPECT_DOUBLE_EQ(progress->valueForKey("fractionCompleted").doubleValue().value_or(-1), 1.0);
}

TEST(OVNProgressTest, SettingTheCountAnnouncesItOnceToObservers) {
  auto progress = OVNProgress::progressWithTotalUnitCount(10);
  auto recorder = OVNMake<ChangeRecorder>();
  progress->addObserver(*recorder, "completedUnitCount", OVNKeyValueObservingOptionNew, nullptr);
  progress->addObserver(*recorder, "fractionCompleted", OVNKeyValueObservingOptionNew, nullptr);

  progress->setCompletedUnitCount(5);
  ASSERT_EQ(recorder->changes.size(), 2u);
  EXPECT_EQ(recorder->changes[0].first, "fractionCompleted");
  EXPECT_DOUBLE_EQ(recorder->changes[0].second.doubleValue().value_or(-1), 0.5);
  EXPECT_EQ(recorder->changes[1].first, "completedUnitCount");
  EXPECT_EQ(recorder->changes[1].second.longLongValue(), 5);

  // Through key-value coding: announced by the setter only, not a second time.
  recorder->changes.clear();
  progress->setValue(7, "completedUnitCount");
  EXPECT_EQ(progress->completedUnitCount(), 7);
  ASSERT_EQ(recorder->changes.size(), 2u);
  EXPECT_EQ(recorder->changes[1].second.longLongValue(), 7);

  progress->removeObserver(*recorder, "completedUnitCount");
  progress->removeObserver(*recorder, "fractionCompleted");
}
