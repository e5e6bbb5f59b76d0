#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "Networking/OVNRequest.h"
#include "Networking/OVNRequestMetrics.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "Networking/OVNResponseSerializer.h"
#include "Networking/OVNURLSessionManager.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/HttpTestServer.h"

namespace {

constexpr double kWaitSeconds = 20.0;

class OVNRequestTest : public ::testing::Test {
 protected:
  void SetUp() override {
    auto& routes = server_.server();
    routes.Get("/query", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.target, "text/plain");
    });
    routes.Post("/echo", [](const httplib::Request& request, httplib::Response& response) {
      response.set_content(request.get_header_value("Content-Type") + "|" + request.body, "text/plain");
    });
    routes.Get("/error", [](const httplib::Request&, httplib::Response& response) {
      response.status = 500;
      response.set_content("{\"error\":\"boom\"}", "application/json");
    });
    routes.Get("/empty", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("", "application/json");
    });
    routes.Get("/utf8", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("caf\xC3\xA9", "text/plain; charset=utf-8");
    });
    routes.Get("/latin", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("caf\xE9", "text/plain");
    });
    routes.Get("/jpeg", [](const httplib::Request&, httplib::Response& response) {
      response.set_content("not decoded", "image/jpeg");
    });
    server_.start();
    manager_ = OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  }

  std::shared_ptr<OVNRequest> get(const std::string& path, const OVNDictionaryRef& parameters = nullptr) {
    return manager_->requestWithMethod(OVNRequestMethodGET, server_.url(path), parameters);
  }

  // Attaches `attach`'s serialized completion and pumps the main queue until it arrives.
  std::shared_ptr<OVNResponse> await(const std::shared_ptr<OVNRequest>& request,
                                     void (OVNRequest::*attach)(OVNDispatchQueueRef, OVNRequest::ResponseHandler)) {
    std::shared_ptr<OVNResponse> received;
    (request.get()->*attach)(nullptr, [&received](std::shared_ptr<OVNResponse> response) { received = response; });
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return received != nullptr; }, kWaitSeconds));
    return received;
  }
  std::shared_ptr<OVNResponse> awaitJSON(const std::shared_ptr<OVNRequest>& request) {
    std::shared_ptr<OVNResponse> received;
    request->responseAsJSON(nullptr, 0, [&received](std::shared_ptr<OVNResponse> response) { received = response; });
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return received != nullptr; }, kWaitSeconds));
    return received;
  }
  std::shared_ptr<OVNResponse> awaitString(const std::shared_ptr<OVNRequest>& request, OVNStringEncoding encoding) {
    std::shared_ptr<OVNResponse> received;
    request->responseAsString(nullptr, encoding,
                              [&received](std::shared_ptr<OVNResponse> response) { received = response; });
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return received != nullptr; }, kWaitSeconds));
    return received;
  }
  static std::string text(const std::shared_ptr<OVNResponse>& response) {
    const std::string* value = response->result()->value().string();
    return value ? *value : "<no text>";
  }

  HttpTestServer server_;
  std::shared_ptr<OVNURLSessionManager> manager_;
};

TEST_F(OVNRequestTest, RoundTripsCarryQueryFormAndJSONParameters) {
  auto parameters = OVNDictionary::make({{"a", "1"}, {"b", "x y"}});
  EXPECT_EQ(text(awaitString(get("/query", parameters), 0)), "/query?a=1&b=x%20y");
  auto form = manager_->requestWithMethod(OVNRequestMethodPOST, server_.url("/echo"), parameters);
  EXPECT_EQ(text(awaitString(form, 0)), "application/x-www-form-urlencoded; charset=utf-8|a=1&b=x%20y");
  auto json = manager_->requestWithMethod(OVNRequestMethodPOST, server_.url("/echo"), parameters,
                                          OVNParameterEncodingJSON, OVNDictionary::make({{"X-Trace", "t"}}));
  EXPECT_EQ(text(awaitString(json, 0)), "application/json|{\"a\":\"1\",\"b\":\"x y\"}");
  EXPECT_EQ(json->request()->valueForHTTPHeaderField("X-Trace"), "t");
}

TEST_F(OVNRequestTest, SerializersIgnoreTheStatusAndLeaveUndecodableBodiesEmpty) {
  auto failed = awaitJSON(get("/error"));
  EXPECT_EQ(failed->response()->statusCode(), 500);
  EXPECT_TRUE(failed->result()->value().isEqual(OVNValue::dictionary({{"error", "boom"}})));
  EXPECT_EQ(failed->error(), nullptr);

  for (const auto& response : {awaitJSON(get("/empty")), await(get("/jpeg"), &OVNRequest::responseAsImage)}) {
    EXPECT_TRUE(response->result()->value().isMissing());
    EXPECT_EQ(response->result()->error(), nullptr);
  }
  auto data = await(get("/utf8"), &OVNRequest::responseAsData);
  ASSERT_NE(data->result()->value().data(), nullptr);
  EXPECT_EQ(data->result()->value().data()->view(), "caf\xC3\xA9");
}

TEST_F(OVNRequestTest, TextUsesTheDeclaredCharsetElseLatin1) {
  const std::string cafe = "caf\xC3\xA9";
  EXPECT_EQ(text(awaitString(get("/utf8"), 0)), cafe);
  EXPECT_EQ(text(awaitString(get("/latin"), 0)), cafe);
  EXPECT_EQ(text(awaitString(get("/latin"), OVNUTF8StringEncoding)), "<no text>");
}

TEST_F(OVNRequestTest, MetricsAddUpAndLatencyFallsBackToCompletion) {
  for (const char* path : {"/query", "/empty"}) {
    auto request = get(path);
    auto metrics = await(request, &OVNRequest::responseAsData)->metrics();
    EXPECT_EQ(metrics->requestStartTime(), request->startTime()) << path;
    EXPECT_EQ(metrics->requestCompletionTime(), request->endTime()) << path;
    EXPECT_GT(metrics->requestStartTime(), 0.0) << path;
    EXPECT_GE(metrics->serializationDuration(), 0.0) << path;
    EXPECT_EQ(metrics->totalDuration(), metrics->requestDuration() + metrics->serializationDuration()) << path;
    EXPECT_LE(metrics->latency(), metrics->requestDuration()) << path;
  }
  auto empty = await(get("/empty"), &OVNRequest::responseAsData)->metrics();
  EXPECT_EQ(empty->latency(), empty->requestDuration());
}

TEST_F(OVNRequestTest, ParkedWorkRunsAfterCompletionInTheOrderAttached) {
  auto request = get("/query");
  std::mutex mutex;
  std::vector<int> order;
  auto worker = OVNDispatchQueue::createSerial("test.completion");
  for (int i = 0; i < 3; ++i) {
    request->responseInQueue(i == 1 ? nullptr : worker,
                             [&, i, request](auto urlRequest, auto response, auto data, auto error) {
                               std::lock_guard lock(mutex);
                               // Each runs after the task ended, with its reply.
                               if (request->endTime() > 0.0 && response && data && data->length() == 6 && !error)
                                 order.push_back(i);
                             });
  }
  EXPECT_EQ(request->completionQueue(), worker);
  ASSERT_TRUE(OVNRunLoop::main().runUntil(
      [&] {
        std::lock_guard lock(mutex);
        return order.size() == 3;
      },
      kWaitSeconds));
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));  // all on `worker`, the last queue given
  // Attached after completion: runs at once.
  auto late = await(request, &OVNRequest::responseAsData);
  EXPECT_EQ(late->response()->statusCode(), 200);
}

TEST_F(OVNRequestTest, UnstartedWorkWaitsAndTheFirstStartTimeStays) {
  OVNTestClock clock(1000.0);
  manager_->setStartsRequestsImmediately(false);
  auto waiting = get("/query");
  bool waitingRan = false;
  waiting->responseAsData(nullptr, [&](std::shared_ptr<OVNResponse>) { waitingRan = true; });
  auto started = get("/query");
  started->resume();
  clock.advance(5.0);
  started->resume();
  EXPECT_EQ(started->startTime(), 1000.0);
  ASSERT_NE(await(started, &OVNRequest::responseAsData), nullptr);
  EXPECT_FALSE(waitingRan);
  EXPECT_EQ(waiting->startTime(), 0.0);
}

TEST_F(OVNRequestTest, WorkWhoseRequestIsGoneGetsNothing) {
  auto request = OVNRequest::initWithSession(manager_->session(), nullptr);
  bool rawCalled = false;
  bool rawGotNothing = false;
  request->responseInQueue(nullptr, [&](auto urlRequest, auto response, auto data, auto error) {
    rawCalled = true;
    rawGotNothing = !urlRequest && !response && !data && !error;
  });
  std::shared_ptr<OVNResponse> serialized;
  request->responseAsData(nullptr, [&](std::shared_ptr<OVNResponse> response) { serialized = response; });
  auto delegate = request->delegate();
  request.reset();
  delegate->queue()->setSuspended(false);
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return rawCalled && serialized; }, kWaitSeconds));
  EXPECT_TRUE(rawGotNothing);
  EXPECT_EQ(serialized->request(), nullptr);
  EXPECT_EQ(serialized->error()->domain(), OVNNetworkErrorDomain);
  EXPECT_EQ(serialized->error()->localizedDescription(), "Data could not be serialized, input data was nil.");
}

TEST_F(OVNRequestTest, DescriptionNamesMethodURLAndStatus) {
  auto request = get("/empty");
  ASSERT_NE(await(request, &OVNRequest::responseAsData), nullptr);
  EXPECT_EQ(request->description(), "GET " + server_.url("/empty") + " 200");
  EXPECT_EQ(OVNRequest::initWithSession(nullptr, nullptr)->description(), "");
}

}  // namespace
