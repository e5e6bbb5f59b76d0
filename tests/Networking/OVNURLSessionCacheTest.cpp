// HTTP caching in the session, against real servers: cpp-httplib for unusual header
// fields, nginx for the validators it generates itself.
#include <gtest/gtest.h>

#include <condition_variable>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataDelegateProtocol.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/HttpTestServer.h"
#include "Support/NginxServer.h"

namespace {

constexpr double waitSeconds = 20.0;

// The three forms HTTP dates come in.
constexpr const char* imfFixdate = "%a, %d %b %Y %H:%M:%S GMT";
constexpr const char* rfc850Date = "%A, %d-%b-%y %H:%M:%S GMT";
constexpr const char* asctimeDate = "%a %b %e %H:%M:%S %Y";

std::string httpDate(double secondsFromNow, const char* form = imfFixdate) {
  const std::time_t when = std::time(nullptr) + static_cast<std::time_t>(secondsFromNow);
  std::tm parts{};
  gmtime_r(&when, &parts);
  char text[64];
  std::strftime(text, sizeof text, form, &parts);
  return text;
}

// Replies to /r/<name> with the header fields of its "h" parameters ("Name: value") and a
// body naming the reply's number; when the request's "If-None-Match" equals the "etag"
// parameter, replies 304 with the fields of its "nm" parameters instead.
class CountingServer {
 public:
  CountingServer() {
    server_.server().Get(R"(/r/(\w+))", [this](const httplib::Request& request, httplib::Response& response) {
      const int hit = count(request.path);
      auto addFields = [&](const char* parameter) {
        for (std::size_t i = 0; i < request.get_param_value_count(parameter); ++i) {
          const std::string field = request.get_param_value(parameter, i);
          const auto colon = field.find(':');
          response.set_header(field.substr(0, colon), field.substr(colon + 2));
        }
      };
      const std::string etag = request.get_param_value("etag");
      if (!etag.empty()) response.set_header("ETag", etag);
      if (!etag.empty() && request.get_header_value("If-None-Match") == etag) {
        response.status = 304;
        addFields("nm");
        return;
      }
      addFields("h");
      if (request.has_param("status")) response.status = std::stoi(request.get_param_value("status"));
      response.set_content(request.path + " #" + std::to_string(hit), "text/plain");
    });
    server_.server().Post(R"(/r/(\w+))", [this](const httplib::Request& request, httplib::Response& response) {
      count(request.path);
      response.set_content("posted", "text/plain");
    });
    server_.start();
  }
  std::string url(const std::string& name, const std::vector<std::string>& fields = {}) const {
    std::string url = server_.url("/r/" + name) + "?x=1";
    for (const auto& field : fields) url += "&" + field;
    return url;
  }
  int hits(const std::string& name) {
    std::lock_guard lock(mutex_);
    return hits_["/r/" + name];
  }

 private:
  int count(const std::string& path) {
    std::lock_guard lock(mutex_);
    return ++hits_[path];
  }
  HttpTestServer server_;
  std::mutex mutex_;
  std::map<std::string, int> hits_;
};

std::string field(const std::string& name, const std::string& value) {
  return "h=" + httplib::detail::encode_query_param(name + ": " + value);
}

struct Fetched {
  std::vector<std::string> events;
  std::string body;
  std::shared_ptr<OVNHTTPURLResponse> response;
  std::shared_ptr<OVNError> error;
};

// Records the callbacks of one task at a time; answers "will cache" through `onWillCache`.
class Delegate : public OVNURLSessionDataDelegateProtocol {
 public:
  std::function<std::shared_ptr<OVNCachedURLResponse>(std::shared_ptr<OVNCachedURLResponse>)> onWillCache;

  void URLSessionDataTaskDidReceiveResponse(const std::shared_ptr<OVNURLSession>&,
                                            const std::shared_ptr<OVNURLSessionDataTask>&,
                                            const std::shared_ptr<OVNURLResponse>& response,
                                            ResponseCompletion completion) override {
    note("response", [&] { fetched_.response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(response); });
    completion(OVNURLSessionResponseAllow);
  }
  void URLSessionDataTaskDidReceiveData(const std::shared_ptr<OVNURLSession>&,
                                        const std::shared_ptr<OVNURLSessionDataTask>&,
                                        const std::shared_ptr<const OVNData>& data) override {
    note("data", [&] { fetched_.body.append(data->view()); });
  }
  void URLSessionDataTaskWillCacheResponse(const std::shared_ptr<OVNURLSession>&,
                                           const std::shared_ptr<OVNURLSessionDataTask>&,
                                           const std::shared_ptr<OVNCachedURLResponse>& proposed,
                                           CacheCompletion completion) override {
    note("will cache", [] {});
    completion(onWillCache ? onWillCache(proposed) : proposed);
  }
  void URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>&,
                                          const std::shared_ptr<OVNURLSessionTask>&,
                                          const std::shared_ptr<OVNError>& error) override {
    note("complete", [&] {
      fetched_.error = error;
      done_ = true;
    });
    changed_.notify_all();
  }

  Fetched wait() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::duration<double>(waitSeconds), [&] { return done_; }));
    done_ = false;
    return std::exchange(fetched_, {});
  }

 private:
  template <class Change>
  void note(const char* event, Change change) {
    std::lock_guard lock(mutex_);
    if (fetched_.events.empty() || fetched_.events.back() != event) fetched_.events.emplace_back(event);
    change();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  Fetched fetched_;
  bool done_ = false;
};

class OVNURLSessionCacheTest : public ::testing::Test {
 protected:
  OVNURLSessionCacheTest() {
    auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
    configuration->setURLCache(cache);
    session = OVNURLSession::sessionWithConfiguration(configuration, delegate, nullptr);
  }
  ~OVNURLSessionCacheTest() override { session->invalidateAndCancel(); }

  Fetched fetch(const std::string& url, OVNURLRequestCachePolicy policy = OVNURLRequestUseProtocolCachePolicy,
                const std::string& method = "GET", std::map<std::string, std::string> fields = {}) {
    auto request = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(url));
    request->setCachePolicy(policy);
    request->setHTTPMethod(method);
    for (const auto& [name, value] : fields) request->setValue(value, name);
    session->dataTaskWithRequest(request->immutableCopy())->resume();
    return delegate->wait();
  }

  CountingServer server;
  std::shared_ptr<OVNHTTPCache> cache = OVNHTTPCache::cacheWithMemoryCapacity(1 << 20, 0, std::nullopt);
  std::shared_ptr<Delegate> delegate = std::make_shared<Delegate>();
  std::shared_ptr<OVNURLSession> session;
};

const std::vector<std::string> networkEvents{"response", "data", "will cache", "complete"};
const std::vector<std::string> cachedEvents{"response", "data", "complete"};

}  // namespace

// Which replies a second request gets from the cache without asking the server.
TEST_F(OVNURLSessionCacheTest, StoresAndServesByTheReplysFieldsAndStatus) {
  struct Case {
    const char* name;
    std::vector<std::string> fields;
    bool servedFromCache;
  };
  const std::vector<Case> cases{
      {"maxage", {field("Cache-Control", "max-age=60")}, true},
      {"privatemaxage", {field("Cache-Control", "private, max-age=60")}, true},
      {"quotedmaxage", {field("Cache-Control", "max-age=\"60\"")}, true},
      {"expires", {field("Expires", httpDate(3600))}, true},
      {"rfc850expires", {field("Expires", httpDate(3600, rfc850Date))}, true},
      {"asctimeexpires", {field("Expires", httpDate(3600, asctimeDate))}, true},
      {"lastmodified", {field("Last-Modified", httpDate(-10 * 86400))}, true},
      {"baddatefield", {field("Cache-Control", "max-age=60"), field("Date", "yesterday")}, true},
      {"servererror", {field("Cache-Control", "max-age=60"), "status=500"}, true},
      {"nostore", {field("Cache-Control", "max-age=60, no-store")}, false},
      {"badmaxage", {field("Cache-Control", "max-age=soon")}, false},
      {"badlist", {field("Cache-Control", "max-age=60 junk")}, false},
      {"agedout", {field("Cache-Control", "max-age=60"), field("Age", "100")}, false},
      {"badexpires", {field("Expires", "0")}, false},
      {"pastexpires", {field("Expires", httpDate(-60))}, false},
      {"varystar", {field("Cache-Control", "max-age=60"), field("Vary", "*")}, false},
      {"nothing", {}, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Fetched first = fetch(server.url(c.name, c.fields));
    const Fetched second = fetch(server.url(c.name, c.fields));
    EXPECT_EQ(server.hits(c.name), c.servedFromCache ? 1 : 2);
    EXPECT_EQ(second.body == first.body, c.servedFromCache);
    EXPECT_EQ(second.events, c.servedFromCache ? cachedEvents : first.events);
    EXPECT_EQ(second.response->statusCode(), first.response->statusCode());
  }
}

TEST_F(OVNURLSessionCacheTest, RevalidatesAndAnswersA304WithTheStoredBodyAndRefreshedFields) {
  const std::string url = server.url("check", {field("Cache-Control", "no-cache"), "etag=%22v1%22",
                                               "nm=" + httplib::detail::encode_query_param("Cache-Control: max-age=60"),
                                               "nm=" + httplib::detail::encode_query_param("X-Checked: yes")});
  const Fetched first = fetch(url);
  const Fetched second = fetch(url);  // 304 from the server
  const Fetched third = fetch(url);   // fresh now, for 60 s
  EXPECT_EQ(server.hits("check"), 2);
  EXPECT_EQ(second.events, cachedEvents);
  EXPECT_EQ(second.body, first.body);
  EXPECT_EQ(second.response->statusCode(), 200);
  EXPECT_EQ(second.response->valueForHTTPHeaderField("X-Checked"), "yes");
  EXPECT_EQ(second.response->valueForHTTPHeaderField("Content-Length"),
            first.response->valueForHTTPHeaderField("Content-Length"));
  EXPECT_EQ(third.body, first.body);
}

TEST_F(OVNURLSessionCacheTest, FollowsTheRequestsCachePolicy) {
  const std::string stale = server.url("stale", {field("Cache-Control", "max-age=0")});
  fetch(stale);
  EXPECT_EQ(fetch(stale, OVNURLRequestReturnCacheDataElseLoad).body, "/r/stale #1");
  EXPECT_EQ(fetch(stale, OVNURLRequestReturnCacheDataDontLoad).body, "/r/stale #1");
  EXPECT_EQ(fetch(stale, OVNURLRequestReloadIgnoringLocalCacheData).body, "/r/stale #2");
  EXPECT_EQ(fetch(stale, OVNURLRequestReturnCacheDataElseLoad).body, "/r/stale #2");  // the reload was stored
  EXPECT_EQ(fetch(stale).body, "/r/stale #3");                                        // stale, no validator

  const Fetched missing = fetch(server.url("never"), OVNURLRequestReturnCacheDataDontLoad);
  ASSERT_NE(missing.error, nullptr);
  EXPECT_EQ(missing.error->code(), OVNURLErrorResourceUnavailable);
  EXPECT_EQ(server.hits("never"), 0);
}

TEST_F(OVNURLSessionCacheTest, TheDelegateDecidesWhatIsStored) {
  const std::string url = server.url("asked", {field("Cache-Control", "max-age=60")});
  delegate->onWillCache = [](auto) { return nullptr; };
  EXPECT_EQ(fetch(url).events, networkEvents);
  fetch(url);
  EXPECT_EQ(server.hits("asked"), 2);

  delegate->onWillCache = [](std::shared_ptr<OVNCachedURLResponse> proposed) {
    return OVNCachedURLResponse::cachedResponseWithResponse(proposed->response(), OVNData::fromString("replaced"));
  };
  fetch(url);
  EXPECT_EQ(fetch(url).body, "replaced");
  EXPECT_EQ(server.hits("asked"), 3);
}

TEST_F(OVNURLSessionCacheTest, MatchesVaryFieldsAndForgetsAfterAnUnsafeRequest) {
  const std::string url =
      server.url("varied", {field("Cache-Control", "max-age=60"), field("Vary", "Accept-Language")});
  fetch(url, OVNURLRequestUseProtocolCachePolicy, "GET", {{"Accept-Language", "de"}});
  fetch(url, OVNURLRequestUseProtocolCachePolicy, "GET", {{"Accept-Language", "de"}});
  EXPECT_EQ(server.hits("varied"), 1);
  fetch(url, OVNURLRequestUseProtocolCachePolicy, "GET", {{"Accept-Language", "fr"}});
  EXPECT_EQ(server.hits("varied"), 2);

  fetch(url, OVNURLRequestUseProtocolCachePolicy, "POST");
  fetch(url, OVNURLRequestUseProtocolCachePolicy, "GET", {{"Accept-Language", "fr"}});
  EXPECT_EQ(server.hits("varied"), 4);
}

// nginx's own validators: a fresh file is not asked for again, a stale one is revalidated
// and answered 304, a changed one is fetched anew. The files are large enough to be sent
// compressed, which gives their replies weak entity tags and their 304s strong ones.
TEST(OVNURLSessionCacheNginxTest, RevalidatesWithTheServersValidators) {
  NginxServer nginx(NginxServer::Options{1, false, true});
  std::filesystem::create_directories(nginx.docRoot() + "/cache/fresh");
  std::filesystem::create_directories(nginx.docRoot() + "/cache/check");
  const std::string padding(400, 'x');
  auto json = [&](const std::string& value) { return R"({"v":")" + value + R"(","pad":")" + padding + R"("})"; };
  auto write = [&](const std::string& path, const std::string& text) {
    std::ofstream(nginx.docRoot() + path, std::ios::trunc) << text;
  };
  write("/cache/fresh/a.json", json("a1"));
  write("/cache/check/b.json", json("b1"));
  nginx.start();

  auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
  configuration->setURLCache(OVNHTTPCache::cacheWithMemoryCapacity(1 << 20, 0, std::nullopt));
  auto session = OVNURLSession::sessionWithConfiguration(configuration);
  auto get = [&](const std::string& path) {
    auto request = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(nginx.httpURL(path)));
    request->setValue("gzip", "Accept-Encoding");
    std::promise<std::string> body;
    session
        ->dataTaskWithRequest(request->immutableCopy(),
                              [&](auto data, auto, auto) { body.set_value(data ? std::string(data->view()) : "?"); })
        ->resume();
    return body.get_future().get();
  };

  EXPECT_EQ(get("/cache/fresh/a.json"), json("a1"));
  EXPECT_EQ(get("/cache/fresh/a.json"), json("a1"));
  EXPECT_EQ(get("/cache/check/b.json"), json("b1"));
  EXPECT_EQ(get("/cache/check/b.json"), json("b1"));
  write("/cache/check/b.json", json("b22"));
  EXPECT_EQ(get("/cache/check/b.json"), json("b22"));
  {
    OVNTestClock clock;
    clock.advance(7200);  // the fresh file's hour is over
    EXPECT_EQ(get("/cache/fresh/a.json"), json("a1"));
  }
  EXPECT_EQ(nginx.accessLog(5), (std::vector<std::string>{"GET /cache/fresh/a.json 200", "GET /cache/check/b.json 200",
                                                          "GET /cache/check/b.json 304", "GET /cache/check/b.json 200",
                                                          "GET /cache/fresh/a.json 304"}));
  session->invalidateAndCancel();
}
