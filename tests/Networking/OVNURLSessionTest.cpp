#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataDelegateProtocol.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionUploadTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/HttpTestServer.h"
#include "Support/NginxServer.h"
#include "Support/RawSocketServer.h"

namespace {

constexpr double waitSeconds = 20.0;

void addHandlers(httplib::Server& server) {
  server.Get("/hello", [](const httplib::Request&, httplib::Response& res) {
    res.set_header("x-lower-case", "yes");
    res.set_content("hello, world", "text/plain; charset=UTF-8");
  });
  server.Get("/redirect", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/hello"); });
  server.Get("/loop", [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/loop"); });
  server.Post("/echo", [](const httplib::Request& req, httplib::Response& res) {
    res.set_content(req.method + " " + req.body, "text/plain");
  });
  server.Get("/slow", [](const httplib::Request&, httplib::Response& res) {
    std::this_thread::sleep_for(std::chrono::milliseconds(3000));
    res.set_content("late", "text/plain");
  });
  server.Get("/big", [](const httplib::Request&, httplib::Response& res) {
    res.set_content(std::string(50u * 1024 * 1024, 'x'), "application/octet-stream");
  });
}

std::shared_ptr<OVNURLRequest> requestFor(const std::string& url) {
  return OVNURLRequest::requestWithURL(OVNURL::URLWithString(url));
}

// Records every callback, checks that none overlaps another, and lets tests wait.
class Recorder : public OVNURLSessionDataDelegateProtocol {
 public:
  std::function<void(const std::shared_ptr<OVNURLSessionTask>&, OVNURLSessionDataDelegateProtocol::ResponseCompletion)>
      onResponse;
  std::function<void(const std::shared_ptr<OVNURLRequest>&, RedirectCompletion)> onRedirect;

  void URLSessionDataTaskDidReceiveResponse(const std::shared_ptr<OVNURLSession>&,
                                            const std::shared_ptr<OVNURLSessionDataTask>& task,
                                            const std::shared_ptr<OVNURLResponse>&,
                                            ResponseCompletion completion) override {
    Enter enter(*this);
    note(task, "response");
    if (onResponse) return onResponse(task, std::move(completion));
    completion(OVNURLSessionResponseAllow);
  }
  void URLSessionDataTaskDidReceiveData(const std::shared_ptr<OVNURLSession>&,
                                        const std::shared_ptr<OVNURLSessionDataTask>& task,
                                        const std::shared_ptr<const OVNData>& data) override {
    Enter enter(*this);
    std::lock_guard lock(mutex_);
    bodies_[task->taskIdentifier()].append(data->view());
    if (events_[task->taskIdentifier()].empty() || events_[task->taskIdentifier()].back() != "data") {
      events_[task->taskIdentifier()].push_back("data");
    }
  }
  void URLSessionTaskWillPerformHTTPRedirection(const std::shared_ptr<OVNURLSession>&,
                                                const std::shared_ptr<OVNURLSessionTask>& task,
                                                const std::shared_ptr<OVNHTTPURLResponse>&,
                                                const std::shared_ptr<OVNURLRequest>& next,
                                                RedirectCompletion completion) override {
    Enter enter(*this);
    note(task, "redirect");
    if (onRedirect) return onRedirect(next, std::move(completion));
    completion(next);
  }
  void URLSessionTaskDidSendBodyData(const std::shared_ptr<OVNURLSession>&,
                                     const std::shared_ptr<OVNURLSessionTask>& task, std::int64_t, std::int64_t total,
                                     std::int64_t) override {
    std::lock_guard lock(mutex_);
    sent_ = total;
  }
  void URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>&,
                                          const std::shared_ptr<OVNURLSessionTask>& task,
                                          const std::shared_ptr<OVNError>& error) override {
    Enter enter(*this);
    note(task, "complete");
    std::lock_guard lock(mutex_);
    errors_[task->taskIdentifier()] = error;
    ++completions_;
    changed_.notify_all();
  }
  void URLSessionDidBecomeInvalidWithError(const std::shared_ptr<OVNURLSession>&,
                                           const std::shared_ptr<OVNError>&) override {
    std::lock_guard lock(mutex_);
    invalid_ = true;
    invalidAfterCompletions_ = completions_;
    changed_.notify_all();
  }

  bool waitForCompletions(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(waitSeconds), [&] { return completions_ >= count; });
  }
  bool waitForInvalid() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::duration<double>(waitSeconds), [&] { return invalid_; });
  }
  std::vector<std::string> events(const OVNURLSessionTaskRef& task) { return read(events_, task); }
  std::string body(const OVNURLSessionTaskRef& task) { return read(bodies_, task); }
  std::shared_ptr<OVNError> error(const OVNURLSessionTaskRef& task) { return read(errors_, task); }
  std::int64_t sent() { return read(sent_); }
  int invalidAfterCompletions() { return read(invalidAfterCompletions_); }
  bool overlapped() const { return overlapped_; }

 private:
  struct Enter {
    explicit Enter(Recorder& r) : recorder(r) {
      if (recorder.inside_.fetch_add(1) != 0) recorder.overlapped_ = true;
    }
    ~Enter() { recorder.inside_.fetch_sub(1); }
    Recorder& recorder;
  };
  template <class T>
  T read(const T& member) {
    std::lock_guard lock(mutex_);
    return member;
  }
  template <class Map>
  typename Map::mapped_type read(Map& map, const OVNURLSessionTaskRef& task) {
    std::lock_guard lock(mutex_);
    return map[task->taskIdentifier()];
  }
  void note(const std::shared_ptr<OVNURLSessionTask>& task, std::string event) {
    std::lock_guard lock(mutex_);
    events_[task->taskIdentifier()].push_back(std::move(event));
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<std::uint64_t, std::vector<std::string>> events_;
  std::map<std::uint64_t, std::string> bodies_;
  std::map<std::uint64_t, std::shared_ptr<OVNError>> errors_;
  int completions_ = 0;
  std::int64_t sent_ = 0;
  bool invalid_ = false;
  int invalidAfterCompletions_ = -1;
  std::atomic<int> inside_{0};
  std::atomic<bool> overlapped_{false};
};

class OVNURLSessionTest : public ::testing::Test {
 protected:
  OVNURLSessionTest() {
    addHandlers(server.server());
    server.start();
  }
  std::shared_ptr<OVNURLSession> makeSession(double requestTimeout = 60.0) {
    auto configuration = OVNURLSessionConfiguration::defaultSessionConfiguration();
    configuration->setTimeoutIntervalForRequest(requestTimeout);
    return OVNURLSession::sessionWithConfiguration(configuration, recorder, nullptr);
  }
  void TearDown() override {
    for (auto& session : sessions) session->invalidateAndCancel();
  }

  HttpTestServer server;
  std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
  std::vector<std::shared_ptr<OVNURLSession>> sessions;
};

}  // namespace

TEST_F(OVNURLSessionTest, DeliversResponseDataAndCompletionInOrderWithCanonicalHeaderNames) {
  auto session = makeSession();
  auto task = session->dataTaskWithRequest(requestFor(server.url("/hello")));
  EXPECT_EQ(task->state(), OVNURLSessionTaskStateSuspended);
  task->resume();
  ASSERT_TRUE(recorder->waitForCompletions(1));

  EXPECT_EQ(recorder->events(task), (std::vector<std::string>{"response", "data", "complete"}));
  EXPECT_EQ(recorder->body(task), "hello, world");
  EXPECT_EQ(recorder->error(task), nullptr);
  EXPECT_EQ(task->state(), OVNURLSessionTaskStateCompleted);
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(task->response());
  ASSERT_TRUE(response);
  EXPECT_EQ(response->statusCode(), 200);
  EXPECT_EQ(response->MIMEType(), "text/plain");
  EXPECT_EQ(response->textEncodingName(), "utf-8");
  EXPECT_GT(response->expectedContentLength(), 0);  // as sent: compressed bodies are decoded afterwards
  EXPECT_EQ(response->allHeaderFields()->objectForKey("X-Lower-Case").description(), "yes");
  EXPECT_EQ(task->countOfBytesReceived(), 12);
  session->invalidateAndCancel();
  EXPECT_TRUE(recorder->waitForInvalid());
  EXPECT_FALSE(recorder->overlapped());
}

TEST_F(OVNURLSessionTest, FollowsRefusesAndLimitsRedirects) {
  auto session = makeSession();
  auto followed = session->dataTaskWithRequest(requestFor(server.url("/redirect")));
  followed->resume();
  ASSERT_TRUE(recorder->waitForCompletions(1));
  EXPECT_EQ(recorder->events(followed), (std::vector<std::string>{"redirect", "response", "data", "complete"}));
  EXPECT_EQ(recorder->body(followed), "hello, world");
  EXPECT_EQ(followed->currentRequest()->URL()->path(), "/hello");
  EXPECT_EQ(followed->originalRequest()->URL()->path(), "/redirect");

  recorder->onRedirect = [](const std::shared_ptr<OVNURLRequest>&, auto completion) {
    std::thread([completion] { completion(nullptr); }).detach();  // refused, later, from elsewhere
  };
  auto refused = session->dataTaskWithRequest(requestFor(server.url("/redirect")));
  refused->resume();
  ASSERT_TRUE(recorder->waitForCompletions(2));
  EXPECT_EQ(recorder->events(refused).front(), "redirect");
  EXPECT_EQ(std::dynamic_pointer_cast<OVNHTTPURLResponse>(refused->response())->statusCode(), 302);
  EXPECT_EQ(recorder->error(refused), nullptr);

  recorder->onRedirect = nullptr;
  auto loop = session->dataTaskWithRequest(requestFor(server.url("/loop")));
  loop->resume();
  ASSERT_TRUE(recorder->waitForCompletions(3));
  ASSERT_TRUE(recorder->error(loop));
  EXPECT_EQ(recorder->error(loop)->code(), OVNURLErrorHTTPTooManyRedirects);
  EXPECT_EQ(recorder->events(loop).size(), static_cast<std::size_t>(OVNURLSession::maximumRedirects + 1));
}

TEST_F(OVNURLSessionTest, FailuresCompleteOnceWithTheirCodeAndAReason) {
  auto session = makeSession(0.5);
  auto withHeader = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(server.url("/hello")));
  withHeader->setValue("a\r\nInjected: yes", "X-Bad");
  const std::vector<std::pair<std::shared_ptr<OVNURLRequest>, std::int64_t>> cases = {
      {requestFor("http://127.0.0.1:1/"), OVNURLErrorCannotConnectToHost},
      {OVNURLRequest::requestWithURL(nullptr), OVNURLErrorBadURL},
      {requestFor("ftp://127.0.0.1/file"), OVNURLErrorUnsupportedURL},
      {withHeader, OVNURLErrorBadURL},
      {requestFor(server.url("/slow")), OVNURLErrorTimedOut},
  };
  std::vector<OVNURLSessionTaskRef> tasks;
  for (const auto& [request, code] : cases) {
    tasks.push_back(session->dataTaskWithRequest(request));
    tasks.back()->resume();
  }
  ASSERT_TRUE(recorder->waitForCompletions(static_cast<int>(cases.size())));
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(i);
    auto error = recorder->error(tasks[i]);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), OVNURLErrorDomain);
    EXPECT_EQ(error->code(), cases[i].second);
    EXPECT_FALSE(error->localizedDescription().empty());
    EXPECT_FALSE(error->userInfo()->objectForKey(OVNURLErrorTransportReasonKey).description().empty());
    const auto events = recorder->events(tasks[i]);
    EXPECT_EQ(events.back(), "complete");
    EXPECT_EQ(std::count(events.begin(), events.end(), "complete"), 1);
  }
}

TEST_F(OVNURLSessionTest, CancellingAtAnyMomentCompletesExactlyOnce) {
  auto session = makeSession();
  auto beforeResume = session->dataTaskWithRequest(requestFor(server.url("/hello")));
  beforeResume->cancel();
  ASSERT_TRUE(recorder->waitForCompletions(1));
  EXPECT_EQ(recorder->error(beforeResume)->code(), OVNURLErrorCancelled);
  beforeResume->resume();
  beforeResume->cancel();

  constexpr int count = 1000;
  std::mt19937 random(7);
  std::vector<OVNURLSessionTaskRef> tasks;
  for (int i = 0; i < count; ++i) {
    tasks.push_back(session->dataTaskWithRequest(requestFor(server.url(i % 2 ? "/hello" : "/redirect"))));
    tasks.back()->resume();
    if (random() % 3 == 0) tasks[random() % tasks.size()]->cancel();
    if (random() % 50 == 0) std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
  }
  for (auto& task : tasks) task->cancel();
  ASSERT_TRUE(recorder->waitForCompletions(count + 1));
  for (auto& task : tasks) {
    const auto events = recorder->events(task);
    EXPECT_EQ(std::count(events.begin(), events.end(), "complete"), 1);
    EXPECT_EQ(events.back(), "complete");
  }
  EXPECT_TRUE(session->allTasks().empty());
  EXPECT_FALSE(recorder->overlapped());
}

TEST_F(OVNURLSessionTest, ARefusedResponseCancelsTheTaskAndNoDataFollows) {
  recorder->onResponse = [](const auto&, auto completion) { completion(OVNURLSessionResponseCancel); };
  auto session = makeSession();
  auto task = session->dataTaskWithRequest(requestFor(server.url("/big")));
  task->resume();
  ASSERT_TRUE(recorder->waitForCompletions(1));
  EXPECT_EQ(recorder->events(task), (std::vector<std::string>{"response", "complete"}));
  EXPECT_EQ(recorder->error(task)->code(), OVNURLErrorCancelled);
}

TEST_F(OVNURLSessionTest, UploadsABodyAndReceivesFiftyMegabytesWhole) {
  auto session = makeSession();
  auto post = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(server.url("/echo")));
  post->setHTTPMethod("POST");
  auto upload = session->uploadTaskWithRequest(post, OVNData::fromString("a=1&b=2"));
  upload->resume();
  auto big = session->dataTaskWithRequest(requestFor(server.url("/big")));
  big->resume();
  ASSERT_TRUE(recorder->waitForCompletions(2));
  EXPECT_EQ(recorder->body(upload), "POST a=1&b=2");
  EXPECT_EQ(recorder->sent(), 7);
  EXPECT_EQ(recorder->body(big).size(), 50u * 1024 * 1024);
  EXPECT_EQ(recorder->error(big), nullptr);
}

TEST_F(OVNURLSessionTest, InvalidationCancelsTasksAndIsTheLastCallback) {
  auto session = makeSession();
  auto slow = session->dataTaskWithRequest(requestFor(server.url("/slow")));
  slow->resume();
  std::weak_ptr<OVNURLSession> weakSession = session;
  session->invalidateAndCancel();
  session.reset();
  ASSERT_TRUE(recorder->waitForInvalid());
  EXPECT_EQ(recorder->invalidAfterCompletions(), 1);
  EXPECT_EQ(recorder->error(slow)->code(), OVNURLErrorCancelled);
  // The session let go of itself once invalid (the callback may still be returning).
  for (int i = 0; i < 1000 && !weakSession.expired(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_TRUE(weakSession.expired());
}

TEST_F(OVNURLSessionTest, ACompletionHandlerGetsTheWholeBody) {
  auto session = OVNURLSession::sessionWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration());
  std::mutex mutex;
  std::condition_variable done;
  std::string body;
  std::int64_t status = 0;
  bool finished = false;
  auto task =
      session->dataTaskWithRequest(requestFor(server.url("/redirect")), [&](auto data, auto response, auto error) {
        std::lock_guard lock(mutex);
        body = std::string(data->view());
        status = std::dynamic_pointer_cast<OVNHTTPURLResponse>(response)->statusCode();
        finished = true;
        done.notify_all();
      });
  task->resume();
  std::unique_lock lock(mutex);
  ASSERT_TRUE(done.wait_for(lock, std::chrono::seconds(20), [&] { return finished; }));
  EXPECT_EQ(body, "hello, world");
  EXPECT_EQ(status, 200);
  session->finishTasksAndInvalidate();
}

TEST_F(OVNURLSessionTest, PeersThatBreakOffLoseTheConnection) {
  const std::vector<std::string> replies = {
      "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly part",              // reset mid-body
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n",  // chunks end early
      "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\ncut short",              // closed mid-body
  };
  auto session = makeSession();
  std::vector<std::unique_ptr<RawSocketServer>> peers;
  std::vector<OVNURLSessionTaskRef> tasks;
  for (std::size_t i = 0; i < replies.size(); ++i) {
    auto& peer = *peers.emplace_back(std::make_unique<RawSocketServer>());
    peer.start([&peer, reply = replies[i], reset = i == 0](int fd) {
      peer.sendAll(fd, reply);
      if (reset) {
        peer.resetConnection(fd);
      } else {
        peer.closeConnection(fd);
      }
    });
    tasks.push_back(session->dataTaskWithRequest(requestFor(peer.url("/"))));
    tasks.back()->resume();
  }
  ASSERT_TRUE(recorder->waitForCompletions(static_cast<int>(replies.size())));
  for (const auto& task : tasks) {
    ASSERT_TRUE(recorder->error(task));
    EXPECT_EQ(recorder->error(task)->code(), OVNURLErrorNetworkConnectionLost) << recorder->error(task)->description();
  }
}

TEST(OVNURLSessionNginxTest, SpeaksHTTP2OverTrustedTLSDecodesGzipAndReusesConnections) {
  NginxServer nginx;
  nginx.start();
  const std::string json = "[" + std::string(2000, ' ') + "1]";
  std::ofstream(nginx.docRoot() + "/data.json") << json;

  auto trusting = OVNURLSessionConfiguration::defaultSessionConfiguration();
  trusting->setTLSTrustedCertificatesPath(nginx.caFile());
  auto recorder = std::make_shared<Recorder>();
  auto session = OVNURLSession::sessionWithConfiguration(trusting, recorder, nullptr);
  auto secure = session->dataTaskWithRequest(requestFor(nginx.httpsURL("/data.json")));
  secure->resume();
  ASSERT_TRUE(recorder->waitForCompletions(1));
  ASSERT_EQ(recorder->error(secure), nullptr) << recorder->error(secure)->description();
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(secure->response());
  EXPECT_EQ(response->HTTPVersion(), "HTTP/2");
  EXPECT_EQ(response->valueForHTTPHeaderField("Content-Encoding"), "gzip");
  EXPECT_TRUE(response->allHeaderFields()->contains("Content-Type"));  // sent as "content-type"
  EXPECT_EQ(recorder->body(secure), json);

  std::vector<OVNURLSessionTaskRef> sequential;  // one after another: one kept-alive connection
  for (int i = 0; i < 3; ++i) {
    sequential.push_back(session->dataTaskWithRequest(requestFor(nginx.httpURL("/connection"))));
    sequential.back()->resume();
    ASSERT_TRUE(recorder->waitForCompletions(2 + i));
  }
  EXPECT_EQ(recorder->body(sequential[0]), recorder->body(sequential[2]));

  auto untrusting = OVNURLSession::sessionWithConfiguration(OVNURLSessionConfiguration::defaultSessionConfiguration(),
                                                            recorder, nullptr);
  auto refused = untrusting->dataTaskWithRequest(requestFor(nginx.httpsURL("/data.json")));
  refused->resume();
  ASSERT_TRUE(recorder->waitForCompletions(5));
  ASSERT_TRUE(recorder->error(refused));
  EXPECT_EQ(recorder->error(refused)->code(), OVNURLErrorServerCertificateUntrusted);
  session->invalidateAndCancel();
  untrusting->invalidateAndCancel();
}
