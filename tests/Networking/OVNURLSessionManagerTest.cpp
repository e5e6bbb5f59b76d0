#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <future>
#include <iostream>
#include <limits>
#include <optional>
#include <string>

#include "Networking/OVNNetworkActivityIndicatorManager.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "Networking/OVNURLSessionManager.h"
#include "Platform/Dispatch/OVNRunLoop.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/System/OVNBundle.h"
#include "Platform/System/OVNDevice.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDate.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/HttpTestServer.h"

namespace {

constexpr double kWaitSeconds = 20.0;

std::shared_ptr<OVNURLSessionManager> makeManager() {
  return OVNURLSessionManager::initWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
}

std::shared_ptr<OVNURLRequest> makeRequest(const std::string& method, const std::string& url,
                                           std::optional<std::string> contentType = std::nullopt) {
  auto request = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(url));
  request->setHTTPMethod(method);
  request->setValue(contentType, "Content-Type");
  return request;
}

std::string bodyText(const std::shared_ptr<OVNURLRequest>& request) {
  return request->HTTPBody() ? std::string(request->HTTPBody()->view()) : "<none>";
}

TEST(OVNURLSessionManagerTest, MethodTextsAndBack) {
  auto manager = makeManager();
  const char* texts[] = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE"};
  for (OVNRequestMethod method = OVNRequestMethodGET; method <= OVNRequestMethodDELETE; ++method) {
    EXPECT_EQ(manager->stringForRequestMethod(method), texts[method]);
    EXPECT_EQ(manager->requestMethodForString(texts[method]), method);
  }
  EXPECT_EQ(manager->stringForRequestMethod(6), "GET");
  EXPECT_EQ(manager->stringForRequestMethod(std::numeric_limits<OVNRequestMethod>::max()), "GET");
  for (const char* other : {"delete", "OPTIONS", "get", ""}) {
    EXPECT_EQ(manager->requestMethodForString(other), OVNRequestMethodGET) << other;
  }
}

struct EncodingCase {
  const char* name;
  std::string method;
  OVNParameterEncoding encoding;
  std::string url;
  OVNDictionaryRef parameters;
  std::optional<std::string> contentType;  // set on the request before encoding
  std::string expectedURL;
  std::optional<std::string> expectedContentType;
  std::string expectedBody;
};

TEST(OVNURLSessionManagerTest, ParametersGoWhereTheMethodAndEncodingSay) {
  auto manager = makeManager();
  const std::string url = "http://h.example/p";
  const auto one = [] { return OVNDictionary::make({{"a", "1"}}); };
  const std::string form = "application/x-www-form-urlencoded; charset=utf-8";
  const EncodingCase cases[] = {
      {"GET query", "GET", OVNParameterEncodingURL, url, one(), {}, url + "?a=1", {}, "<none>"},
      {"HEAD query", "HEAD", OVNParameterEncodingURL, url, one(), {}, url + "?a=1", {}, "<none>"},
      {"DELETE query", "DELETE", OVNParameterEncodingURL, url, one(), {}, url + "?a=1", {}, "<none>"},
      {"unknown method as GET", "get", OVNParameterEncodingURL, url, one(), {}, url + "?a=1", {}, "<none>"},
      {"POST form", "POST", OVNParameterEncodingURL, url, one(), {}, url, form, "a=1"},
      {"POST in URL", "POST", OVNParameterEncodingURLEncodedInURL, url, one(), {}, url + "?a=1", {}, "<none>"},
      {"JSON", "POST", OVNParameterEncodingJSON, url, one(), {}, url, "application/json", "{\"a\":\"1\"}"},
      {"property list", "PUT", OVNParameterEncodingPropertyList, url, one(), {}, url, "application/x-plist", "<none>"},
      {"glued onto a query",
       "GET",
       OVNParameterEncodingURL,
       url + "?x=1",
       OVNDictionary::make({{"y", 2}}),
       {},
       url + "?x=1y=2",
       {},
       "<none>"},
      {"empty parameters", "GET", OVNParameterEncodingURL, url, OVNDictionary::make(), {}, url + "?", {}, "<none>"},
      {"no parameters", "GET", OVNParameterEncodingURL, url, nullptr, {}, url, {}, "<none>"},
      {"form keeps type", "POST", OVNParameterEncodingURL, url, one(), "text/plain", url, "text/plain", "a=1"},
      {"JSON keeps type", "POST", OVNParameterEncodingJSON, url, one(), "text/plain", url, "text/plain",
       "{\"a\":\"1\"}"},
      {"plist keeps type", "POST", OVNParameterEncodingPropertyList, url, one(), "text/plain", url, "text/plain",
       "<none>"},
      {"JSON refuses a date",
       "POST",
       OVNParameterEncodingJSON,
       url,
       OVNDictionary::make({{"d", OVNDate::now()}}),
       {},
       url,
       {},
       "<none>"},
      {"unknown encoding", "POST", 7, url, one(), {}, url, {}, "<none>"},
  };
  for (const auto& c : cases) {
    auto encoded =
        manager->encodeURLRequest(makeRequest(c.method, c.url, c.contentType), c.encoding, c.parameters, nullptr);
    EXPECT_EQ(encoded->URL()->absoluteString(), c.expectedURL) << c.name;
    EXPECT_EQ(encoded->valueForHTTPHeaderField("Content-Type"), c.expectedContentType) << c.name;
    EXPECT_EQ(bodyText(encoded), c.expectedBody) << c.name;
  }
}

TEST(OVNURLSessionManagerTest, QueryStringsEscapeKeysAndTextsAndDropOtherKinds) {
  auto manager = makeManager();
  const std::pair<OVNDictionaryRef, std::string> cases[] = {
      {OVNDictionary::make({{"client_id", "abc"}, {"p", "40.7,-74.0"}, {"limit", 10}, {"q", "a b"}}),
       "client_id=abc&limit=10&p=40.7,-74.0&q=a%20b"},
      {OVNDictionary::make({{"q", "a&b=c"}, {"a b", "x"}}), "a%20b=x&q=a%26b%3Dc"},
      {OVNDictionary::make({{"n", OVNValue::null()}, {"d", OVNDate::now()}, {"k", "v"}}), "k=v"},
      {OVNDictionary::make({{"t", true}, {"f", 2.5}, {"e", "\xC3\xA9"}}), "e=%C3%A9&f=2.5&t=1"},
      {OVNDictionary::make(), ""},
  };
  for (const auto& [parameters, expected] : cases) EXPECT_EQ(manager->queryStringFromParameters(parameters), expected);
}

TEST(OVNURLSessionManagerTest, AContainerValueWithOnePairFailsOutOfRange) {
  auto manager = makeManager();
  for (const OVNValue& value : {OVNValue::array({"x"}), OVNValue::dictionary({{"k", "x"}})}) {
    auto parameters = OVNDictionary::make({{"a", value}});
    try {
      (void)manager->queryStringFromParameters(parameters);
      ADD_FAILURE() << "no exception for " << value.description();
    } catch (const OVNException& exception) {
      EXPECT_EQ(exception.name(), OVNRangeException);
    }
  }
}

// Sets up a device and an application, then exits with the number of default headers that
// differ from what they should be.
[[noreturn]] void checkDefaultHeadersAndExit() {
  OVNLocale::setPreferredLanguages({"en-US", "de", "fr", "es", "it", "ja", "nl", "pt"});
  OVNBundle::mainBundle()->setInfoValue("CFBundleExecutable", "\xD0\x9F\xD0\xBE\xD0\xB3\xD0\xBE\xD0\xB4\xD0\xB0");
  OVNBundle::mainBundle()->setInfoValue("CFBundleShortVersionString", "2.1");
  OVNDevice::currentDevice().setModel("iPhone");
  OVNDevice::currentDevice().setSystemVersion("9.3");
  OVNDevice::currentDevice().setScreenScale(2.0);
  const OVNDictionaryRef headers = OVNURLSessionManager::defaultHTTPHeaders();
  const std::pair<const char*, const char*> expected[] = {
      {"Accept-Encoding", "gzip;q=1.0, compress;q=0.5"},
      {"Accept-Language", "en-US;q=1, de;q=0.9, fr;q=0.8, es;q=0.7, it;q=0.6, ja;q=0.5"},
      {"User-Agent", "Pogoda/2.1 (iPhone; iOS 9.3; Scale/2.00)"},
  };
  int mismatches = headers->count() == 3 ? 0 : 1;
  for (const auto& [name, value] : expected) {
    const std::string actual = headers->objectForKey(name).description();
    if (actual == value) continue;
    std::cerr << name << ": " << actual << "\n";
    ++mismatches;
  }
  std::exit(mismatches);
}

// The default headers are built once per process: the check runs in a fresh process (the
// death-test child), where it makes the first call.
TEST(OVNURLSessionManagerDeathTest, DefaultHeadersListSixLanguagesAndAnASCIIUserAgent) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(checkDefaultHeadersAndExit(), ::testing::ExitedWithCode(0), "");
}

TEST(OVNURLSessionManagerTest, WithoutStartingImmediatelyARequestIsNeitherResumedNorCounted) {
  auto manager = makeManager();
  manager->setStartsRequestsImmediately(false);
  auto indicator = OVNNetworkActivityIndicatorManager::sharedManager();
  const auto before = indicator->activityCount();
  auto request = manager->requestWithMethod(OVNRequestMethodGET, "http://127.0.0.1:9/never", nullptr);
  EXPECT_EQ(request->task()->state(), OVNURLSessionTaskStateSuspended);
  EXPECT_EQ(request->startTime(), 0.0);
  EXPECT_EQ(indicator->activityCount(), before);
}

TEST(OVNURLSessionManagerTest, TheActivityCountReturnsToZeroAfterEveryKindOfFailure) {
  HttpTestServer server;
  server.server().Get("/error", [](const httplib::Request&, httplib::Response& response) {
    response.status = 500;
    response.set_content("{}", "application/json");
  });
  server.server().Get(
      "/ok", [](const httplib::Request&, httplib::Response& response) { response.set_content("ok", "text/plain"); });
  server.start();
  HttpTestServer closed;
  closed.start();
  const std::string refused = closed.url("/gone");
  closed.stop();

  auto manager = makeManager();
  auto indicator = OVNNetworkActivityIndicatorManager::sharedManager();
  const std::pair<const char*, std::string> cases[] = {
      {"success", server.url("/ok")}, {"server error", server.url("/error")}, {"refused", refused}, {"cancel", ""}};
  for (const auto& [name, url] : cases) {
    const bool cancel = url.empty();
    auto request = manager->requestWithMethod(OVNRequestMethodGET, cancel ? server.url("/ok") : url, nullptr);
    if (cancel) request->cancel();
    bool done = false;
    request->responseAsData(nullptr, [&done](std::shared_ptr<OVNResponse>) { done = true; });
    ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return done; }, kWaitSeconds)) << name;
    EXPECT_EQ(indicator->activityCount(), 0) << name;
  }
}

TEST(OVNURLSessionManagerTest, DestroyingAManagerCancelsRequestsInFlight) {
  HttpTestServer server;
  struct Release {  // the server answers only once the test is over, however it ends
    std::promise<void> promise;
    ~Release() { promise.set_value(); }
  } release;
  std::shared_future<void> released = release.promise.get_future().share();
  server.server().Get("/held", [released](const httplib::Request&, httplib::Response& response) {
    released.wait();
    response.set_content("late", "text/plain");
  });
  server.start();
  auto manager = makeManager();
  std::shared_ptr<OVNResponse> response;
  auto request = manager->requestWithMethod(OVNRequestMethodGET, server.url("/held"), nullptr);
  request->responseAsData(nullptr, [&](std::shared_ptr<OVNResponse> received) { response = std::move(received); });
  auto task = request->task();
  manager.reset();
  ASSERT_TRUE(OVNRunLoop::main().runUntil([&] { return response != nullptr; }, kWaitSeconds));
  EXPECT_EQ(response->response(), nullptr);  // the server never answered
  ASSERT_TRUE(task->error());
  EXPECT_EQ(task->error()->code(), OVNURLErrorCancelled);
}

TEST(OVNURLSessionManagerTest, ATasksDelegateDecidesWhatItsReplyLeavesInTheCache) {
  HttpTestServer server;
  std::atomic<int> hits{0};
  server.server().Get("/fresh", [&](const httplib::Request&, httplib::Response& response) {
    response.set_header("Cache-Control", "max-age=60");
    response.set_content("reply " + std::to_string(++hits), "text/plain");
  });
  server.start();
  auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
  configuration->setURLCache(OVNHTTPCache::cacheWithMemoryCapacity(1 << 20, 0, std::nullopt));
  auto manager = OVNURLSessionManager::initWithConfiguration(configuration);
  manager->setStartsRequestsImmediately(false);
  auto get = [&](bool refuseToCache) {
    auto request = manager->requestWithMethod(OVNRequestMethodGET, server.url("/fresh"), nullptr);
    auto delegate = std::dynamic_pointer_cast<OVNURLSessionDataTaskDelegate>(request->delegate());
    if (refuseToCache) delegate->setDataTaskWillCacheResponse([](auto, auto, auto) { return nullptr; });
    request->resume();
    std::string body;
    request->responseAsData(nullptr, [&](std::shared_ptr<OVNResponse> response) {
      body = response->data() ? std::string(response->data()->view()) : "none";
    });
    EXPECT_TRUE(OVNRunLoop::main().runUntil([&] { return !body.empty(); }, kWaitSeconds));
    return body;
  };
  EXPECT_EQ(get(true), "reply 1");
  EXPECT_EQ(get(false), "reply 2");
  EXPECT_EQ(get(false), "reply 2");
  EXPECT_EQ(hits, 2);
}

}  // namespace
