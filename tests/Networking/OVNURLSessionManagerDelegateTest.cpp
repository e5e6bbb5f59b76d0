#include <gtest/gtest.h>

#include <atomic>
#include <fstream>
#include <optional>
#include <string>

#include "Networking/OVNNetworkActivityIndicatorManager.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "Networking/OVNURLSessionManager.h"
#include "Networking/OVNURLSessionManagerDelegate.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNInputStream.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNData.h"
#include "Support/HttpTestServer.h"
#include "Support/NginxServer.h"

namespace {

constexpr double kWaitSeconds = 20.0;
constexpr std::size_t kBodySize = 256 * 1024;

using Disposition = std::optional<std::int64_t>;

class OVNURLSessionManagerDelegateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    manager_ = OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
    delegate_ = manager_->delegate();
    session_ = manager_->session();
    request_ = OVNURLRequest::requestWithURL(OVNURL::URLWithString("http://127.0.0.1:9/"));
    task_ = session_->dataTaskWithRequest(request_);  // never resumed: callbacks are called by hand
  }

  // Each callback with a default answer, and what its completion received (none: not called).
  struct Answers {
    Disposition sessionChallenge, taskChallenge, response;
    std::optional<std::shared_ptr<OVNURLRequest>> redirect;
    std::optional<std::shared_ptr<OVNInputStream>> bodyStream;
    std::optional<std::shared_ptr<OVNCachedURLResponse>> cached;
    std::shared_ptr<OVNURLCredential> credential;
  };
  Answers ask(const std::shared_ptr<OVNCachedURLResponse>& proposed) {
    Answers answers;
    auto challenge = OVNMake<OVNURLAuthenticationChallenge>();
    delegate_->URLSessionDidReceiveChallenge(session_, challenge, [&](auto disposition, auto credential) {
      answers.sessionChallenge = disposition;
      answers.credential = credential;
    });
    delegate_->URLSessionTaskDidReceiveChallenge(session_, task_, challenge,
                                                 [&](auto disposition, auto) { answers.taskChallenge = disposition; });
    delegate_->URLSessionTaskWillPerformHTTPRedirection(session_, task_, nullptr, request_,
                                                        [&](auto next) { answers.redirect = next; });
    delegate_->URLSessionTaskNeedNewBodyStream(session_, task_, [&](auto stream) { answers.bodyStream = stream; });
    delegate_->URLSessionDataTaskDidReceiveResponse(session_, task_, nullptr,
                                                    [&](auto disposition) { answers.response = disposition; });
    delegate_->URLSessionDataTaskWillCacheResponse(session_, task_, proposed,
                                                   [&](auto cached) { answers.cached = cached; });
    return answers;
  }

  std::shared_ptr<OVNURLSessionManager> manager_;
  std::shared_ptr<OVNURLSessionManagerDelegate> delegate_;
  std::shared_ptr<OVNURLSession> session_;
  std::shared_ptr<OVNURLRequest> request_;
  std::shared_ptr<OVNURLSessionDataTask> task_;
};

TEST_F(OVNURLSessionManagerDelegateTest, WithoutClosuresCallbacksGetTheDefaultsAndSomeStaySilent) {
  auto proposed = OVNMake<OVNCachedURLResponse>();
  const Answers answers = ask(proposed);
  EXPECT_EQ(answers.sessionChallenge, OVNURLSessionAuthChallengePerformDefaultHandling);
  EXPECT_EQ(answers.credential, nullptr);
  EXPECT_EQ(answers.redirect, request_);
  EXPECT_EQ(answers.response, OVNURLSessionResponseAllow);
  EXPECT_EQ(answers.cached, proposed);
  EXPECT_FALSE(answers.taskChallenge.has_value());
  EXPECT_FALSE(answers.bodyStream.has_value());
}

TEST_F(OVNURLSessionManagerDelegateTest, ClosuresAnswerInsteadExceptForTaskChallenges) {
  auto credential = OVNURLCredential::credentialWithUser("u", "p", OVNURLCredentialPersistenceNone);
  auto stream = OVNInputStream::inputStreamWithData(OVNData::fromString("body"));
  delegate_->setSessionDidReceiveAuthenticationChallenge([&](auto, auto, std::shared_ptr<OVNURLCredential>* place) {
    *place = credential;
    return OVNURLSessionAuthChallengeCancelAuthenticationChallenge;
  });
  delegate_->setTaskDidReceiveAuthenticationChallenge(
      [](auto, auto, auto, auto) { return OVNURLSessionAuthChallengeUseCredential; });
  delegate_->setTaskWillPerformHTTPRedirection([](auto, auto, auto, auto) { return nullptr; });
  delegate_->setTaskNeedNewBodyStream([&](auto, auto) { return stream; });
  delegate_->setDataTaskDidReceiveResponse([](auto, auto, auto) { return OVNURLSessionResponseCancel; });
  delegate_->setDataTaskWillCacheResponse([](auto, auto, auto) { return nullptr; });
  const Answers answers = ask(OVNMake<OVNCachedURLResponse>());
  EXPECT_EQ(answers.sessionChallenge, OVNURLSessionAuthChallengeCancelAuthenticationChallenge);
  EXPECT_EQ(answers.credential, credential);
  EXPECT_EQ(answers.redirect, nullptr);
  EXPECT_EQ(answers.bodyStream, stream);
  EXPECT_EQ(answers.response, OVNURLSessionResponseCancel);
  EXPECT_EQ(answers.cached, nullptr);
  EXPECT_FALSE(answers.taskChallenge.has_value());
}

TEST_F(OVNURLSessionManagerDelegateTest, DataAndCompletionGoToThePerTaskDelegateUnlessAClosureTakesThem) {
  auto taskDelegate = OVNURLSessionDataTaskDelegate::initWithTask(task_);
  delegate_->setDelegate(taskDelegate, task_);
  ASSERT_EQ(delegate_->delegateForTask(task_), taskDelegate);
  delegate_->URLSessionDataTaskDidReceiveData(session_, task_, OVNData::fromString("abc"));
  EXPECT_EQ(taskDelegate->totalBytesReceived(), 3);
  std::int64_t taken = 0;
  delegate_->setDataTaskDidReceiveData([&](auto, auto, OVNDataRef data) { taken += data->length(); });
  delegate_->URLSessionDataTaskDidReceiveData(session_, task_, OVNData::fromString("de"));
  EXPECT_EQ(taskDelegate->totalBytesReceived(), 3);
  EXPECT_EQ(taken, 2);

  // Completion lowers the activity count once, error or not; a closure keeps the work parked.
  auto indicator = OVNNetworkActivityIndicatorManager::sharedManager();
  indicator->incrementActivityCount();
  const auto before = indicator->activityCount();
  bool closureCalled = false;
  delegate_->setTaskDidComplete([&](auto, auto, auto) { closureCalled = true; });
  delegate_->URLSessionTaskDidCompleteWithError(session_, task_, OVNError::errorWithDomain("test", 1, "failed"));
  EXPECT_EQ(indicator->activityCount(), before - 1);
  EXPECT_TRUE(closureCalled);
  EXPECT_TRUE(taskDelegate->queue()->isSuspended());
  delegate_->setTaskDidComplete(nullptr);
  delegate_->URLSessionTaskDidCompleteWithError(session_, task_, nullptr);
  EXPECT_FALSE(taskDelegate->queue()->isSuspended());
}

class OVNURLSessionManagerDelegateNetworkTest : public OVNURLSessionManagerDelegateTest {
 protected:
  void SetUp() override {
    OVNURLSessionManagerDelegateTest::SetUp();
    server_.server().Get("/chunks", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(std::string(kBodySize, 'x'), "application/octet-stream");
    });
    server_.start();
  }
  // The session lets go of its connections before the server waits for them to close.
  void TearDown() override { manager_.reset(); }
  // A request whose serialized completion has arrived.
  std::shared_ptr<OVNRequest> completedRequest() {
    auto request = manager_->requestWithMethod(OVNRequestMethodGET, server_.url("/chunks"), nullptr);
    bool done = false;
    request->responseAsData(nullptr, [&done](std::shared_ptr<OVNResponse>) { done = true; });
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return done; }, kWaitSeconds));
    return request;
  }
  HttpTestServer server_;
};

TEST_F(OVNURLSessionManagerDelegateNetworkTest, ARegistrationIsHeldWeaklyOnceItsWorkHasRun) {
  auto request = completedRequest();
  auto task = request->task();
  std::weak_ptr<OVNRequest> weakRequest = request;
  std::weak_ptr<OVNURLSessionTaskDelegate> weakDelegate = request->delegate();
  // Only this test holds the request once the registry has let go of it.
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return weakRequest.use_count() == 1; }, kWaitSeconds));
  EXPECT_EQ(delegate_->requestForTask(task), request);
  EXPECT_EQ(delegate_->delegateForTask(task), request->delegate());
  request.reset();
  EXPECT_TRUE(weakRequest.expired());
  EXPECT_TRUE(weakDelegate.expired());
  EXPECT_EQ(delegate_->requestForTask(task), nullptr);
}

TEST_F(OVNURLSessionManagerDelegateNetworkTest, WorkAttachedAfterReleaseStillRunsWhenTheCallerLetsGo) {
  auto request = manager_->requestWithMethod(OVNRequestMethodGET, server_.url("/chunks"), nullptr);
  std::weak_ptr<OVNRequest> weakRequest = request;
  // The task completes and the registry lets go before any work is attached.
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return weakRequest.use_count() == 1; }, kWaitSeconds));
  bool done = false;
  request->responseAsData(nullptr, [&done](std::shared_ptr<OVNResponse> response) {
    done = response->data() && response->data()->length() == kBodySize;
  });
  request.reset();
  EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return done; }, kWaitSeconds));
}

TEST_F(OVNURLSessionManagerDelegateNetworkTest, ReleasedRegistrationsAreSweptAsTheyAccumulate) {
  constexpr int kRequests = 80;  // both registries would hold 160 entries unswept
  for (int i = 0; i < kRequests; ++i) {
    std::weak_ptr<OVNRequest> weak = completedRequest();
    ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return weak.expired(); }, kWaitSeconds)) << i;
  }
  EXPECT_LE(delegate_->registrationCount(), 128u);
}

// Many connections at once go to nginx: the in-process server's own threads are not built
// for the thread sanitizer, which then reports races inside it.
TEST_F(OVNURLSessionManagerDelegateTest, CallbacksOfOneSessionNeverOverlapAndBodiesPrecedeCompletion) {
  constexpr int kRequests = 8;
  NginxServer server(NginxServer::Options{.tls = false});
  std::ofstream(server.docRoot() + "/chunks.bin") << std::string(kBodySize, 'x');
  server.start();
  std::atomic<int> inside{0};
  std::atomic<bool> overlapped{false};
  std::atomic<int> finished{0};
  std::atomic<int> whole{0};
  for (int i = 0; i < kRequests; ++i) {
    auto request = manager_->requestWithMethod(OVNRequestMethodGET, server.httpURL("/chunks.bin"), nullptr);
    request->setProgressHandler([&](std::int64_t, std::int64_t, std::int64_t) {
      if (inside.fetch_add(1) != 0) overlapped = true;
      inside.fetch_sub(1);
    });
    request->responseInQueue(nullptr, [&](auto, auto, OVNDataRef data, auto) {
      if (data && data->length() == kBodySize) ++whole;
      ++finished;
    });
  }
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return finished == kRequests; }, kWaitSeconds));
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(whole, kRequests);
  manager_.reset();
}

}  // namespace
