#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <optional>
#include <vector>

#include "Networking/OVNURLSessionTaskDelegate.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNInputStream.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Values/OVNData.h"

namespace {

TEST(OVNURLSessionTaskDelegateTest, StartsWithASuspendedSerialUtilityQueueAndNoData) {
  auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
  EXPECT_TRUE(delegate->queue()->isSuspended());
  EXPECT_EQ(delegate->queue()->maxConcurrentOperationCount(), 1);
  EXPECT_EQ(delegate->queue()->qualityOfService(), OVNQualityOfService::Utility);
  EXPECT_EQ(delegate->progress()->totalUnitCount(), 0);
  EXPECT_EQ(delegate->data(), nullptr);
}

TEST(OVNURLSessionTaskDelegateTest, CompletionReleasesParkedWorkInOrderUnlessAClosureTakesIt) {
  for (const bool withClosure : {false, true}) {
    auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
    std::mutex mutex;
    std::vector<int> order;
    for (int i = 0; i < 3; ++i) {
      delegate->queue()->addOperationWithBlock([&, i] {
        std::lock_guard lock(mutex);
        order.push_back(i);
      });
    }
    std::optional<std::shared_ptr<OVNError>> closureError;
    if (withClosure) delegate->setTaskDidComplete([&](auto, auto, auto error) { closureError = error; });
    delegate->URLSessionTaskDidCompleteWithError(nullptr, nullptr, nullptr);
    EXPECT_EQ(delegate->queue()->isSuspended(), withClosure);
    EXPECT_EQ(closureError.has_value(), withClosure);
    if (!withClosure) {
      delegate->queue()->waitUntilAllOperationsAreFinished();
      EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
    }
  }
}

TEST(OVNURLSessionTaskDelegateTest, DestructionCancelsParkedWorkAndLetsTheQueueEmpty) {
  auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
  std::atomic<bool> ran{false};
  delegate->queue()->addOperationWithBlock([&ran] { ran = true; });
  auto queue = delegate->queue();
  delegate.reset();
  queue->waitUntilAllOperationsAreFinished();
  EXPECT_FALSE(ran);
}

TEST(OVNURLSessionTaskDelegateTest, TaskCallbacksAnswerWithTheClosuresOrTheDefaults) {
  auto delegate = OVNURLSessionTaskDelegate::initWithTask(nullptr);
  auto proposed = OVNURLRequest::requestWithURL(OVNURL::URLWithString("http://h/next"));
  auto credential = OVNURLCredential::credentialWithUser("u", "p", OVNURLCredentialPersistenceNone);
  auto stream = OVNInputStream::inputStreamWithData(OVNData::fromString("b"));
  for (const bool withClosures : {false, true}) {
    if (withClosures) {
      delegate->setTaskWillPerformHTTPRedirection([](auto, auto, auto, auto) { return nullptr; });
      delegate->setTaskDidReceiveAuthenticationChallenge([&](auto, auto, auto, auto place) {
        *place = credential;
        return OVNURLSessionAuthChallengeUseCredential;
      });
      delegate->setTaskNeedNewBodyStream([&](auto, auto) { return stream; });
    }
    std::shared_ptr<OVNURLRequest> redirected;
    delegate->URLSessionTaskWillPerformHTTPRedirection(nullptr, nullptr, nullptr, proposed,
                                                       [&](auto next) { redirected = next; });
    EXPECT_EQ(redirected, withClosures ? nullptr : proposed);
    OVNURLSessionAuthChallengeDisposition disposition = -1;
    std::shared_ptr<OVNURLCredential> given;
    delegate->URLSessionTaskDidReceiveChallenge(nullptr, nullptr, OVNMake<OVNURLAuthenticationChallenge>(),
                                                [&](auto answer, auto sent) {
                                                  disposition = answer;
                                                  given = sent;
                                                });
    EXPECT_EQ(disposition, withClosures ? OVNURLSessionAuthChallengeUseCredential
                                        : OVNURLSessionAuthChallengePerformDefaultHandling);
    EXPECT_EQ(given, withClosures ? credential : nullptr);
    std::shared_ptr<OVNInputStream> body;
    delegate->URLSessionTaskNeedNewBodyStream(nullptr, nullptr, [&](auto answer) { body = answer; });
    EXPECT_EQ(body, withClosures ? stream : nullptr);
  }
}

}  // namespace
