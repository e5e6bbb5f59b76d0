#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Dispatch/OVNNotificationCenter.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"

TEST(OVNNotificationCenterTest, DeliversByNameAndObjectUntilRemoved) {
  OVNNotificationCenter center;
  auto sender = OVNMake<OVNObject>();
  auto other = OVNMake<OVNObject>();
  std::vector<std::string> received;
  auto fromSender = center.addObserver("Changed", sender, nullptr, [&](const OVNNotification& n) {
    received.push_back("fromSender:" + n.userInfo()->objectForKey("step").description());
  });
  auto fromAnyone = center.addObserver("Changed", nullptr, nullptr, [&](const OVNNotification& n) {
    received.push_back(std::string("fromAnyone:") + (n.object() == sender ? "sender" : "other"));
  });
  auto everything = center.addObserver("", nullptr, nullptr,
                                       [&](const OVNNotification& n) { received.push_back("everything:" + n.name()); });

  center.post("Changed", sender, OVNDictionary::make({{"step", 1}}));
  center.post("Changed", other, OVNDictionary::make({{"step", 2}}));
  center.post("Unrelated", sender);
  EXPECT_EQ(received, (std::vector<std::string>{"fromSender:1", "fromAnyone:sender", "everything:Changed",
                                                "fromAnyone:other", "everything:Changed", "everything:Unrelated"}));

  received.clear();
  center.removeObserver(fromAnyone);
  center.removeObserver(everything);
  center.removeObserver(everything);  // twice: ignored
  center.post("Changed", sender, OVNDictionary::make({{"step", 3}}));
  EXPECT_EQ(received, (std::vector<std::string>{"fromSender:3"}));
}

TEST(OVNNotificationCenterTest, AnObserverRemovedDuringAPostIsNotCalledByIt) {
  OVNNotificationCenter center;
  OVNNotificationCenter::ObserverToken second;
  int secondCalls = 0;
  auto first =
      center.addObserver("Event", nullptr, nullptr, [&](const OVNNotification&) { center.removeObserver(second); });
  second = center.addObserver("Event", nullptr, nullptr, [&](const OVNNotification&) { ++secondCalls; });
  center.post("Event");
  EXPECT_EQ(secondCalls, 0);
}

TEST(OVNNotificationCenterTest, ObserversWithAQueueAreCalledThereLater) {
  OVNNotificationCenter center;
  std::vector<std::string> received;  // main queue only
  auto token = center.addObserver("Event", nullptr, OVNDispatchQueue::main(), [&](const OVNNotification& n) {
    if (OVNDispatchQueue::main()->isCurrent()) received.push_back(n.name());
  });
  center.post("Event");
  EXPECT_TRUE(received.empty()) << "queued, not called on the posting thread";
  OVNRunLoop::main().drain();
  EXPECT_EQ(received, (std::vector<std::string>{"Event"}));

  center.post("Event");
  center.removeObserver(token);  // before the queued delivery runs
  OVNRunLoop::main().drain();
  EXPECT_EQ(received.size(), 1u);
}
