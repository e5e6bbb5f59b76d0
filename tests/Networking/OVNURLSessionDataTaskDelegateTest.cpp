#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "Networking/OVNURLSessionManager.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Values/OVNData.h"
#include "Support/HttpTestServer.h"

namespace {

constexpr double kWaitSeconds = 20.0;
constexpr double kStart = 5000.0;

enum class Taker { Buffer, Stream, Closure };

struct ChunkCase {
  Taker taker;
  const char* kept;       // data(); nullptr: none
  std::int64_t counted;   // totalBytesReceived and the progress's completed count
  const char* elsewhere;  // what the stream or the closure received
};

TEST(OVNURLSessionDataTaskDelegateTest, ChunksAreKeptStreamedOrHandedOverAndTheFirstArrivalIsMarked) {
  auto session = OVNURLSession::sessionWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  auto task = session->dataTaskWithRequest(OVNURLRequest::requestWithURL(OVNURL::URLWithString("http://h/")));
  const ChunkCase cases[] = {
      {Taker::Buffer, "abcde", 5, ""},
      {Taker::Stream, nullptr, 5, "abcde"},
      {Taker::Closure, "", 0, "abcde"},
  };
  for (const auto& c : cases) {
    OVNTestClock clock(kStart);
    auto delegate = OVNURLSessionDataTaskDelegate::initWithTask(task);
    std::string elsewhere;
    std::vector<std::int64_t> reports;
    if (c.taker == Taker::Stream) delegate->setDataStream([&](OVNDataRef chunk) { elsewhere += chunk->view(); });
    if (c.taker == Taker::Closure) {
      delegate->setDataTaskDidReceiveData([&](auto, auto, OVNDataRef chunk) { elsewhere += chunk->view(); });
    }
    delegate->setDataProgress([&](std::int64_t bytes, std::int64_t total, std::int64_t expected) {
      reports.insert(reports.end(), {bytes, total, expected});
    });
    delegate->URLSessionDataTaskDidReceiveData(session, task, OVNData::fromString("abc"));
    clock.advance(1.0);
    delegate->URLSessionDataTaskDidReceiveData(session, task, OVNData::fromString("de"));

    const int name = static_cast<int>(c.taker);
    EXPECT_EQ(delegate->initialResponseTime(), kStart) << name;
    ASSERT_EQ(delegate->data() != nullptr, c.kept != nullptr) << name;
    if (c.kept) {
      EXPECT_EQ(delegate->data()->view(), c.kept) << name;
    } else {
      EXPECT_EQ(delegate->mutableData()->length(), 0u) << name;
    }
    EXPECT_EQ(delegate->totalBytesReceived(), c.counted) << name;
    EXPECT_EQ(delegate->progress()->completedUnitCount(), c.counted) << name;
    EXPECT_EQ(elsewhere, c.elsewhere) << name;
    // Without a reply, the total is unknown.
    const std::vector<std::int64_t> expectedReports =
        c.taker == Taker::Closure ? std::vector<std::int64_t>{} : std::vector<std::int64_t>{3, 3, -1, 2, 5, -1};
    EXPECT_EQ(reports, expectedReports) << name;
  }
}

TEST(OVNURLSessionDataTaskDelegateTest, TheExpectedTotalIsTheDeclaredLengthWithZeroAsUnknown) {
  HttpTestServer server;
  server.server().Get("/five", [](const httplib::Request&, httplib::Response& response) {
    response.set_content("12345", "application/octet-stream");  // not compressed
  });
  server.server().Get(
      "/none", [](const httplib::Request&, httplib::Response& response) { response.set_content("", "text/plain"); });
  server.start();
  auto manager = OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  for (const auto& [path, total] : {std::pair{"/five", 5}, std::pair{"/none", -1}}) {
    auto request = manager->requestWithMethod(OVNRequestMethodGET, server.url(path), nullptr);
    std::shared_ptr<OVNResponse> done;
    request->responseAsData(nullptr, [&done](std::shared_ptr<OVNResponse> response) { done = response; });
    ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return done != nullptr; }, kWaitSeconds)) << path;
    // A fresh delegate fed a chunk of the completed task reads the length from the reply.
    auto task = std::static_pointer_cast<OVNURLSessionDataTask>(request->task());
    auto delegate = OVNURLSessionDataTaskDelegate::initWithTask(task);
    delegate->URLSessionDataTaskDidReceiveData(manager->session(), task, OVNData::fromString("x"));
    EXPECT_EQ(delegate->progress()->totalUnitCount(), total) << path;
    OVNURLSessionResponseDisposition answer = OVNURLSessionResponseCancel;
    delegate->URLSessionDataTaskDidReceiveResponse(manager->session(), task, task->response(),
                                                   [&answer](auto disposition) { answer = disposition; });
    EXPECT_EQ(answer, OVNURLSessionResponseAllow);
    EXPECT_EQ(delegate->expectedContentLength(), total == -1 ? 0 : total) << path;
  }
  manager.reset();
}

}  // namespace
