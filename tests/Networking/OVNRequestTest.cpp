#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <optional>
#include <string>

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
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/HttpTestServer.h"

namespace {

constexpr double kWaitSeconds = 20.0;

using Attach = std::function<void(OVNRequest&, OVNRequest::ResponseHandler)>;
const Attach asData = [](OVNRequest& request, auto handler) { request.responseAsData(nullptr, handler); };
const Attach asImage = [](OVNRequest& request, auto handler) { request.responseAsImage(nullptr, handler); };
const Attach asJSON = [](OVNRequest& request, auto handler) { request.responseAsJSON(nullptr, 0, handler); };
Attach asString(OVNStringEncoding encoding) {
  return [encoding](OVNRequest& request, auto handler) { request.responseAsString(nullptr, encoding, handler); };
}

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
    struct Fixed {
      const char* path;
      int status;
      const char* body;
      const char* type;
    };
    for (const Fixed& route :
         {Fixed{"/error", 500, "{\"error\":\"boom\"}", "application/json"},
          Fixed{"/empty", 200, "", "application/json"}, Fixed{"/utf8", 200, "caf\xC3\xA9", "text/plain; charset=utf-8"},
          Fixed{"/latin", 200, "caf\xE9", "text/plain"}, Fixed{"/jpeg", 200, "not decoded", "image/jpeg"}}) {
      routes.Get(route.path, [route](const httplib::Request&, httplib::Response& response) {
        response.status = route.status;
        response.set_content(route.body, route.type);
      });
    }
    server_.start();
    manager_ = OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  }

  std::shared_ptr<OVNRequest> get(const std::string& path, const OVNDictionaryRef& parameters = nullptr) {
    return manager_->requestWithMethod(OVNRequestMethodGET, server_.url(path), parameters);
  }

  // Attaches a serialized completion with `attach` and pumps the main queue until it arrives.
  static std::shared_ptr<OVNResponse> await(const std::shared_ptr<OVNRequest>& request, const Attach& attach) {
    std::shared_ptr<OVNResponse> received;
    attach(*request, [&received](std::shared_ptr<OVNResponse> response) { received = response; });
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
  EXPECT_EQ(text(await(get("/query", parameters), asString(0))), "/query?a=1&b=x%20y");
  auto form = manager_->requestWithMethod(OVNRequestMethodPOST, server_.url("/echo"), parameters);
  EXPECT_EQ(text(await(form, asString(0))), "application/x-www-form-urlencoded; charset=utf-8|a=1&b=x%20y");
  auto json = manager_->requestWithMethod(OVNRequestMethodPOST, server_.url("/echo"), parameters,
                                          OVNParameterEncodingJSON, OVNDictionary::make({{"X-Trace", "t"}}));
  EXPECT_EQ(text(await(json, asString(0))), "application/json|{\"a\":\"1\",\"b\":\"x y\"}");
  EXPECT_EQ(json->request()->valueForHTTPHeaderField("X-Trace"), "t");
}

TEST_F(OVNRequestTest, SerializersIgnoreTheStatusAndLeaveUndecodableBodiesEmpty) {
  auto failed = await(get("/error"), asJSON);
  EXPECT_EQ(failed->response()->statusCode(), 500);
  EXPECT_TRUE(failed->result()->value().isEqual(OVNValue::dictionary({{"error", "boom"}})));
  EXPECT_EQ(failed->error(), nullptr);

  for (const auto& response : {await(get("/empty"), asJSON), await(get("/jpeg"), asImage)}) {
    EXPECT_TRUE(response->result()->value().isMissing());
    EXPECT_EQ(response->result()->error(), nullptr);
  }
  auto data = await(get("/utf8"), asData);
  ASSERT_NE(data->result()->value().data(), nullptr);
  EXPECT_EQ(data->result()->value().data()->view(), "caf\xC3\xA9");
}

TEST_F(OVNRequestTest, TextUsesTheDeclaredCharsetElseLatin1) {
  const std::string cafe = "caf\xC3\xA9";
  EXPECT_EQ(text(await(get("/utf8"), asString(0))), cafe);
  EXPECT_EQ(text(await(get("/latin"), asString(0))), cafe);
  EXPECT_EQ(text(await(get("/latin"), asString(OVNUTF8StringEncoding))), "<no text>");
}

TEST_F(OVNRequestTest, MetricsAddUpAndLatencyFallsBackToCompletion) {
  for (const char* path : {"/query", "/empty"}) {
    auto request = get(path);
    auto metrics = await(request, asData)->metrics();
    EXPECT_EQ(metrics->requestStartTime(), request->startTime()) << path;
    EXPECT_EQ(metrics->requestCompletionTime(), request->endTime()) << path;
    EXPECT_GT(metrics->requestStartTime(), 0.0) << path;
    EXPECT_GE(metrics->serializationDuration(), 0.0) << path;
    EXPECT_EQ(metrics->totalDuration(), metrics->requestDuration() + metrics->serializationDuration()) << path;
    EXPECT_LE(metrics->latency(), metrics->requestDuration()) << path;
  }
  auto empty = await(get("/empty"), asData)->metrics();
  EXPECT_EQ(empty->latency(), empty->requestDuration());
}

TEST_F(OVNRequestTest, ParkedWorkRunsAfterCompletionInTheOrderAttached) {
  auto request = get("/query");
  std::atomic<int> inOrder{0};
  auto worker = OVNDispatchQueue::createSerial("test.completion");
  for (int i = 0; i < 3; ++i) {
    request->responseInQueue(
        i == 1 ? nullptr : worker, [&inOrder, i, request](auto, auto response, auto data, auto error) {
          // Each runs after the task ended, with its reply, in the order attached.
          if (request->endTime() > 0.0 && response && data && data->length() == 6 && !error && inOrder == i) ++inOrder;
        });
  }
  EXPECT_EQ(request->completionQueue(), worker);  // where all three run: the last queue given
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return inOrder == 3; }, kWaitSeconds));
  // Attached after completion: runs at once.
  EXPECT_EQ(await(request, asData)->response()->statusCode(), 200);
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
  ASSERT_NE(await(started, asData), nullptr);
  EXPECT_FALSE(waitingRan);
  EXPECT_EQ(waiting->startTime(), 0.0);
}

TEST_F(OVNRequestTest, WorkWhoseRequestIsGoneGetsNothing) {
  auto request = OVNRequest::initWithSession(manager_->session(), nullptr);
  std::optional<bool> rawGotNothing;
  request->responseInQueue(nullptr, [&](auto urlRequest, auto response, auto data, auto error) {
    rawGotNothing = !urlRequest && !response && !data && !error;
  });
  std::shared_ptr<OVNResponse> serialized;
  request->responseAsData(nullptr, [&](std::shared_ptr<OVNResponse> response) { serialized = response; });
  auto delegate = request->delegate();
  request.reset();
  delegate->queue()->setSuspended(false);
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return rawGotNothing && serialized; }, kWaitSeconds));
  EXPECT_TRUE(*rawGotNothing);
  EXPECT_EQ(serialized->request(), nullptr);
  EXPECT_EQ(serialized->error()->domain(), OVNNetworkErrorDomain);
  EXPECT_EQ(serialized->error()->localizedDescription(), "Data could not be serialized, input data was nil.");
}

TEST_F(OVNRequestTest, DescriptionNamesMethodURLAndStatus) {
  auto request = get("/empty");
  ASSERT_NE(await(request, asData), nullptr);
  EXPECT_EQ(request->description(), "GET " + server_.url("/empty") + " 200");
}

}  // namespace
