#include "Platform/Network/detail/OVNURLSessionCore.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLError.h"
#include "Platform/Network/OVNURLSessionConfiguration.h"
#include "Platform/Network/OVNURLSessionDataDelegateProtocol.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDownloadDelegateProtocol.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Network/OVNURLSessionUploadTask.h"
#include "Platform/Network/detail/OVNCurlTransfer.h"
#include "Platform/Network/detail/OVNHTTPCachePolicy.h"
#include "Platform/Network/detail/OVNHTTPHeaderName.h"
#include "Platform/Network/detail/OVNTaskEvents.h"
#include "Platform/Network/detail/OVNURLErrors.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"

namespace ovn::detail {
namespace {

// A layer keeps no entry larger than this share of its capacity, so a body beyond it is
// not gathered for the cache.
constexpr std::uint64_t storableShareOfCapacity = 20;

// The longest the I/O thread sleeps while transfers run, so that idle timeouts are noticed.
constexpr int idleCheckMilliseconds = 50;
constexpr int quietPollMilliseconds = 1000;

// Seconds as the clocks can hold them: a non-positive or absurd timeout counts as a century.
double clampedTimeout(double seconds) {
  constexpr double century = 100.0 * 365 * 24 * 3600;
  return (seconds > 0 && seconds < century) ? seconds : century;
}

void initialiseCurlOnce() {
  static const bool initialised = [] { return curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; }();
  (void)initialised;
}

std::string lowercase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// The request that follows a redirect reply: POST becomes GET after 301 and 302, anything
// but HEAD after 303; credentials stay with their host.
std::shared_ptr<OVNURLRequest> followingRequest(const OVNURLRequest& current, const OVNHTTPURLResponse& response,
                                                const std::shared_ptr<OVNURL>& target) {
  auto next = current.mutableRequestCopy();
  next->setURL(target);
  const std::int64_t status = response.statusCode();
  const std::string& method = current.HTTPMethod();
  if ((status == 303 && method != "HEAD") || ((status == 301 || status == 302) && method == "POST")) {
    next->setHTTPMethod("GET");
    next->setHTTPBody(nullptr);
    next->setValue(std::nullopt, "Content-Type");
    next->setValue(std::nullopt, "Content-Length");
  }
  if (current.URL() && target->host() != current.URL()->host()) next->setValue(std::nullopt, "Authorization");
  return next->immutableCopy();
}

}  // namespace

struct OVNURLSessionCore::Record {
  std::shared_ptr<OVNURLSessionTask> task;
  TaskKind kind = TaskKind::data;
  std::shared_ptr<OVNTaskEvents> events;
  // I/O thread.
  std::unique_ptr<OVNCurlTransfer> transfer;
  int redirects = 0;
  // Set once, by whichever thread ends the task: the I/O thread, or the thread that
  // resumed it when the memory layer answered.
  std::atomic<bool> finished{false};
  Clock::time_point resourceDeadline;
  // The request being answered and its way through the response cache (I/O thread).
  struct Exchange {
    std::shared_ptr<OVNURLRequest> request;   // as sent, less validators the cache added
    std::shared_ptr<OVNHTTPCache> cache;      // null: this request does not use a cache
    std::shared_ptr<OVNURLRequest> cacheKey;  // the request as the cache sees it
    OVNDate requestDate;
    OVNDate responseDate;
    std::optional<OVNHTTPCache::Entry> revalidating;  // the stored reply being checked
    bool servedFromCache = false;
    bool ignoreNetworkBody = false;  // a 304's body: the stored one is delivered instead
    bool storable = false;
    std::vector<std::uint8_t> body;  // gathered for the cache while storable
    std::uint64_t bodyLimit = 0;
  } exchange;
  // Delegate queue.
  OVNURLSession::DataCompletion completion;
  std::vector<std::uint8_t> collected;
  bool refused = false;
};

std::shared_ptr<OVNURLSessionCore> OVNURLSessionCore::make(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                           std::shared_ptr<OVNURLSessionDelegateProtocol> delegate,
                                                           OVNDispatchQueueRef delegateQueue) {
  initialiseCurlOnce();
  std::shared_ptr<OVNURLSessionCore> core(
      new OVNURLSessionCore(std::move(configuration), std::move(delegate), std::move(delegateQueue)));
  // The thread owns the core until the session has become invalid.
  std::thread([core] { core->runLoop(); }).detach();
  return core;
}

OVNURLSessionCore::OVNURLSessionCore(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                     std::shared_ptr<OVNURLSessionDelegateProtocol> delegate,
                                     OVNDispatchQueueRef delegateQueue)
    : configuration_(std::move(configuration)),
      // Callbacks must not overlap: a concurrent queue is not taken.
      delegateQueue_(delegateQueue && delegateQueue->isSerial()
                         ? std::move(delegateQueue)
                         : OVNDispatchQueue::createSerial("com.ovrinweather.urlsession.delegate")),
      delegate_(std::move(delegate)) {
  taskDelegate_ = dynamic_cast<OVNURLSessionTaskDelegateProtocol*>(delegate_.get());
  dataDelegate_ = dynamic_cast<OVNURLSessionDataDelegateProtocol*>(delegate_.get());
  downloadDelegate_ = dynamic_cast<OVNURLSessionDownloadDelegateProtocol*>(delegate_.get());
  multi_ = curl_multi_init();
  curl_multi_setopt(multi_, CURLMOPT_PIPELINING, CURLPIPE_MULTIPLEX);
  curl_multi_setopt(multi_, CURLMOPT_MAX_HOST_CONNECTIONS,
                    static_cast<long>(std::max<std::int64_t>(1, configuration_->HTTPMaximumConnectionsPerHost())));
}

OVNURLSessionCore::~OVNURLSessionCore() = default;

void OVNURLSessionCore::attach(const std::shared_ptr<OVNURLSession>& session) {
  std::lock_guard lock(mutex_);
  session_ = session;
}

std::shared_ptr<OVNURLSession> OVNURLSessionCore::session() const {
  std::lock_guard lock(mutex_);
  return session_;
}

std::shared_ptr<OVNURLSessionDelegateProtocol> OVNURLSessionCore::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_;
}

// ---- tasks ---------------------------------------------------------------------------

std::shared_ptr<OVNURLSessionTask> OVNURLSessionCore::makeTask(TaskKind kind,
                                                               const std::shared_ptr<OVNURLRequest>& request,
                                                               std::shared_ptr<const OVNData> body,
                                                               OVNURLSession::DataCompletion completion) {
  std::shared_ptr<OVNURLSessionTask> task;
  switch (kind) {
    case TaskKind::data: task = OVNMake<OVNURLSessionDataTask>(); break;
    case TaskKind::upload: task = OVNMake<OVNURLSessionUploadTask>(); break;
    case TaskKind::download: task = OVNMake<OVNURLSessionDownloadTask>(); break;
  }
  auto sent = request ? request->mutableRequestCopy() : OVNMake<OVNMutableURLRequest>();
  if (body) sent->setHTTPBody(std::move(body));
  auto original = sent->immutableCopy();
  auto record = std::make_shared<Record>();
  record->task = task;
  record->kind = kind;
  record->events = std::make_shared<OVNTaskEvents>(delegateQueue_);
  record->completion = std::move(completion);
  task->originalRequest_ = original;
  task->currentRequest_ = original;
  task->events_ = record->events;
  task->core_ = weak_from_this();
  task->bytesExpectedToSend_ = original->HTTPBody() ? static_cast<std::int64_t>(original->HTTPBody()->length()) : 0;
  std::lock_guard lock(mutex_);
  if (invalidated_) OVNException::raise(OVNGenericException, "Task created in a session that has been invalidated");
  task->identifier_ = ++nextIdentifier_;
  records_.emplace(task->identifier_, record);
  return task;
}

std::vector<std::shared_ptr<OVNURLSessionTask>> OVNURLSessionCore::allTasks() const {
  std::vector<std::shared_ptr<OVNURLSessionTask>> tasks;
  std::lock_guard lock(mutex_);
  for (const auto& [identifier, record] : records_) tasks.push_back(record->task);
  std::sort(tasks.begin(), tasks.end(),
            [](const auto& a, const auto& b) { return a->taskIdentifier() < b->taskIdentifier(); });
  return tasks;
}

OVNURLSessionCore::RecordRef OVNURLSessionCore::record(std::uint64_t identifier) const {
  std::lock_guard lock(mutex_);
  auto found = records_.find(identifier);
  return found == records_.end() ? nullptr : found->second;
}

void OVNURLSessionCore::startTask(std::uint64_t identifier) {
  if (auto found = record(identifier)) {
    if (serveFromMemory(found)) return;
    post([this, found] {
      found->resourceDeadline =
          Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(
                             clampedTimeout(configuration_->timeoutIntervalForResource())));
      beginRequest(found, found->task->originalRequest());
    });
  }
}

void OVNURLSessionCore::setTaskPaused(std::uint64_t identifier, bool paused) {
  if (auto found = record(identifier)) {
    post([found, paused] {
      if (found->transfer) found->transfer->setPaused(paused);
    });
  }
}

void OVNURLSessionCore::cancelTask(std::uint64_t identifier) {
  if (auto found = record(identifier)) {
    post([this, found] {
      auto url = found->task->currentRequest()->URL();
      finish(found, makeURLError(OVNURLErrorCancelled, url, "The task was cancelled."));
    });
  }
}

void OVNURLSessionCore::invalidate(bool cancelTasks) {
  std::vector<std::uint64_t> identifiers;
  bool idle = false;
  {
    std::lock_guard lock(mutex_);
    if (invalidated_) return;
    invalidated_ = true;
    for (const auto& [identifier, record] : records_) identifiers.push_back(identifier);
    idle = records_.empty();
  }
  if (cancelTasks) {
    for (auto identifier : identifiers) {
      if (auto found = record(identifier)) found->task->cancel();
    }
  }
  if (idle) delegateQueue_->async([self = shared_from_this()] { self->becomeInvalid(); });
}

// ---- the I/O thread ------------------------------------------------------------------

void OVNURLSessionCore::post(std::function<void()> command) {
  std::lock_guard lock(mutex_);
  commands_.push_back(std::move(command));
  // One wake-up for a batch: the loop takes every queued command at once, and does not
  // sleep while commands wait.
  if (multi_ && commands_.size() == 1) curl_multi_wakeup(multi_);
}

void OVNURLSessionCore::runLoop() {
  for (;;) {
    runCommands();
    int running = 0;
    curl_multi_perform(multi_, &running);
    collectFinished();
    expireIdleTransfers();
    bool commandsWaiting = false;
    {
      std::lock_guard lock(mutex_);
      if (invalid_ && commands_.empty()) break;
      commandsWaiting = !commands_.empty();
    }
    curl_multi_poll(multi_, nullptr, 0, commandsWaiting ? 0 : pollTimeoutMilliseconds(), nullptr);
  }
  for (auto& [easy, record] : active_) detachTransfer(*record);
  for (CURL* easy : spareHandles_) curl_easy_cleanup(easy);
  CURLM* multi = nullptr;
  {
    std::lock_guard lock(mutex_);
    multi = std::exchange(multi_, nullptr);
  }
  curl_multi_cleanup(multi);
}

void OVNURLSessionCore::runCommands() {
  std::vector<std::function<void()>> commands;
  {
    std::lock_guard lock(mutex_);
    commands.swap(commands_);
  }
  for (auto& command : commands) command();
}

int OVNURLSessionCore::pollTimeoutMilliseconds() const {
  long curlTimeout = -1;
  curl_multi_timeout(multi_, &curlTimeout);
  const int ceiling = active_.empty() ? quietPollMilliseconds : idleCheckMilliseconds;
  return curlTimeout < 0 ? ceiling : static_cast<int>(std::min<long>(curlTimeout, ceiling));
}

void OVNURLSessionCore::collectFinished() {
  int remaining = 0;
  while (CURLMsg* message = curl_multi_info_read(multi_, &remaining)) {
    if (message->msg != CURLMSG_DONE) continue;
    auto found = active_.find(message->easy_handle);
    if (found == active_.end()) continue;
    RecordRef record = found->second;
    const CURLcode result = message->data.result;
    if (result != CURLE_OK) {
      finish(record, record->transfer->errorForResult(result));
    } else if (record->transfer->isRedirect()) {
      redirect(record);
    } else if (!record->transfer->response()) {
      finish(record, makeURLError(OVNURLErrorBadServerResponse, record->transfer->request()->URL(),
                                  "The reply ended before its header was complete."));
    } else {
      finish(record, nullptr);
    }
  }
}

void OVNURLSessionCore::expireIdleTransfers() {
  const auto now = Clock::now();
  std::vector<RecordRef> expired;
  for (const auto& [easy, record] : active_) {
    if (record->transfer->isIdleLongerThan(idleTimeout(*record->transfer->request()), now)) expired.push_back(record);
  }
  for (const auto& record : expired) {
    finish(record, makeURLError(OVNURLErrorTimedOut, record->transfer->request()->URL(),
                                "No data arrived within the request timeout."));
  }
}

double OVNURLSessionCore::idleTimeout(const OVNURLRequest& request) const {
  const bool ownTimeout = request.hasExplicitTimeoutInterval() && request.timeoutInterval() > 0;
  return clampedTimeout(ownTimeout ? request.timeoutInterval() : configuration_->timeoutIntervalForRequest());
}

// ---- the response cache (I/O thread) -------------------------------------------------

void OVNURLSessionCore::beginRequest(const RecordRef& record, std::shared_ptr<OVNURLRequest> request) {
  if (record->finished) return;
  auto& exchange = record->exchange;
  exchange = {};
  exchange.request = request;
  exchange.requestDate = OVNDate::now();
  exchange.cache = cacheFor(*record, *request);
  if (!exchange.cache) {
    startTransfer(record, std::move(request));
    return;
  }
  exchange.cacheKey = sentForm(request);
  exchange.bodyLimit =
      std::max(exchange.cache->memoryCapacity(), exchange.cache->diskCapacity()) / storableShareOfCapacity;
  const OVNURLRequestCachePolicy policy = effectivePolicy(*request);
  std::optional<OVNHTTPCache::Entry> entry;
  if (OVNHTTPCachePolicy::looksUp(policy, *exchange.cacheKey))
    entry = exchange.cache->entryForRequest(*exchange.cacheKey);
  switch (OVNHTTPCachePolicy::decide(policy, *exchange.cacheKey, entry, OVNDate::now())) {
    case OVNHTTPCachePolicy::Decision::serve: serveStored(record, *entry); break;
    case OVNHTTPCachePolicy::Decision::revalidate: {
      auto stored = std::static_pointer_cast<OVNHTTPURLResponse>(entry->cachedResponse->response());
      exchange.revalidating = std::move(entry);
      startTransfer(record, OVNHTTPCachePolicy::conditionalRequest(*request, *stored));
      break;
    }
    case OVNHTTPCachePolicy::Decision::fail:
      finish(record, makeURLError(OVNURLErrorResourceUnavailable, request->URL(),
                                  "Nothing is stored for the request, and it may not be sent."));
      break;
    case OVNHTTPCachePolicy::Decision::fetch: startTransfer(record, std::move(request)); break;
  }
}

std::shared_ptr<OVNHTTPCache> OVNURLSessionCore::cacheFor(const Record& record, const OVNURLRequest& request) const {
  // Data tasks use stored replies; any task's unsafe request may make one stale.
  if (record.kind != TaskKind::data && !OVNHTTPCachePolicy::invalidatesStoredResponse(request, 200)) return nullptr;
  return configuration_->URLCache();
}

std::shared_ptr<OVNURLRequest> OVNURLSessionCore::sentForm(const std::shared_ptr<OVNURLRequest>& request) const {
  const auto& extra = configuration_->HTTPAdditionalHeaders();
  if (!extra || extra->empty()) return request;
  auto sent = request->mutableRequestCopy();
  for (const auto& [name, value] : *extra) {
    const std::string* text = value.string();
    if (text && !sent->valueForHTTPHeaderField(name)) sent->setValue(*text, name);
  }
  return sent->immutableCopy();
}

void OVNURLSessionCore::serveStored(const RecordRef& record, const OVNHTTPCache::Entry& entry) {
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(entry.cachedResponse->response());
  if (!response) {  // only HTTP replies are stored by sessions; anything else is not served
    startTransfer(record, record->exchange.request);
    return;
  }
  // Claimed before anything is delivered, so that a cancel cannot slip its completion in
  // ahead of the response.
  if (record->finished.exchange(true)) return;
  record->exchange.servedFromCache = true;
  {
    std::lock_guard lock(record->task->mutex_);
    record->task->currentRequest_ = record->exchange.request;
  }
  receivedResponse(record, std::move(response));
  const auto& body = entry.cachedResponse->data()->bytes();
  if (!body.empty()) receivedBody(record, reinterpret_cast<const char*>(body.data()), body.size());
  complete(record, nullptr);
}

bool OVNURLSessionCore::serveFromMemory(const RecordRef& record) {
  if (record->kind != TaskKind::data) return false;
  auto request = record->task->originalRequest();
  auto cache = cacheFor(*record, *request);
  if (!cache) return false;
  auto key = sentForm(request);
  const OVNURLRequestCachePolicy policy = effectivePolicy(*request);
  if (!OVNHTTPCachePolicy::looksUp(policy, *key)) return false;
  auto entry = cache->entryInMemoryForRequest(*key);
  if (!entry ||
      OVNHTTPCachePolicy::decide(policy, *key, entry, OVNDate::now()) != OVNHTTPCachePolicy::Decision::serve) {
    return false;
  }
  // Nothing on the I/O thread knows of this task yet: the exchange is ours to fill.
  record->exchange.request = request;
  record->exchange.cache = std::move(cache);
  serveStored(record, *entry);
  return true;
}

OVNURLRequestCachePolicy OVNURLSessionCore::effectivePolicy(const OVNURLRequest& request) const {
  const OVNURLRequestCachePolicy policy = request.cachePolicy();
  return policy == OVNURLRequestUseProtocolCachePolicy ? configuration_->requestCachePolicy() : policy;
}

void OVNURLSessionCore::receivedNetworkResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response) {
  auto& exchange = record->exchange;
  exchange.responseDate = OVNDate::now();
  if (exchange.revalidating && answerFromRevalidatedEntry(record, *response)) return;
  exchange.revalidating.reset();
  exchange.storable = exchange.cache && OVNHTTPCachePolicy::isStorable(*exchange.request, *response);
  receivedResponse(record, std::move(response));
}

bool OVNURLSessionCore::answerFromRevalidatedEntry(const RecordRef& record, const OVNHTTPURLResponse& notModified) {
  auto& exchange = record->exchange;
  // Held here: once the refreshed entry is stored, the cache lets go of the old one.
  const std::shared_ptr<OVNCachedURLResponse> stored = exchange.revalidating->cachedResponse;
  auto storedResponse = std::static_pointer_cast<OVNHTTPURLResponse>(stored->response());
  // A 304 to the validators sent, which are the entry's, confirms the entry, whatever tag it
  // names itself: servers compare weakly, and nginx's compressed replies carry a weak tag
  // while its 304s carry the strong one.
  if (notModified.statusCode() != 304) return false;
  auto refreshed = OVNHTTPCachePolicy::refreshedResponse(*storedResponse, notModified);
  OVNHTTPCache::Entry entry{OVNCachedURLResponse::cachedResponseWithResponse(
                                refreshed, stored->data(), stored->userInfo(), stored->storagePolicy()),
                            exchange.requestDate, exchange.responseDate};
  exchange.revalidating.reset();
  exchange.ignoreNetworkBody = true;
  // The refreshed entry is stored before the delegate hears of the reply.
  record->events->push([cache = exchange.cache, key = exchange.cacheKey, entry] {
    cache->storeEntry(entry, *key);
    return true;
  });
  receivedResponse(record, std::move(refreshed));
  const auto& body = stored->data()->bytes();
  if (!body.empty()) receivedBody(record, reinterpret_cast<const char*>(body.data()), body.size());
  return true;
}

void OVNURLSessionCore::receivedNetworkBody(const RecordRef& record, const char* bytes, std::size_t length) {
  auto& exchange = record->exchange;
  if (exchange.ignoreNetworkBody) return;
  if (exchange.storable) {
    if (exchange.body.size() + length > exchange.bodyLimit) {
      exchange.storable = false;
      std::vector<std::uint8_t>().swap(exchange.body);
    } else {
      exchange.body.insert(exchange.body.end(), bytes, bytes + length);
    }
  }
  receivedBody(record, bytes, length);
}

void OVNURLSessionCore::updateCache(const RecordRef& record) {
  auto& exchange = record->exchange;
  if (!exchange.cache || exchange.servedFromCache) return;
  auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(record->task->response());
  if (!response) return;
  if (OVNHTTPCachePolicy::invalidatesStoredResponse(*exchange.request, response->statusCode())) {
    record->events->push([cache = exchange.cache, key = exchange.cacheKey] {
      cache->removeCachedResponseForRequest(*key);
      return true;
    });
    return;
  }
  if (!exchange.storable) return;
  auto proposed = OVNCachedURLResponse::cachedResponseWithResponse(response, OVNData::make(std::move(exchange.body)));
  StoreAnswer store = [cache = exchange.cache, key = exchange.cacheKey,
                       entry = OVNHTTPCache::Entry{nullptr, exchange.requestDate, exchange.responseDate}](
                          std::shared_ptr<OVNCachedURLResponse> chosen) mutable {
    if (!chosen) return;
    entry.cachedResponse = std::move(chosen);
    cache->storeEntry(entry, *key);
  };
  record->events->push([this, record, proposed, store = std::move(store), self = shared_from_this()]() mutable {
    return deliverWillCache(record, proposed, std::move(store));
  });
}

void OVNURLSessionCore::startTransfer(const RecordRef& record, std::shared_ptr<OVNURLRequest> request) {
  if (record->finished) return;
  const auto& url = request->URL();
  if (!url || !url->scheme() || !url->host() || url->host()->empty()) {
    finish(record, makeURLError(OVNURLErrorBadURL, url, "The request has no URL with a scheme and a host."));
    return;
  }
  const std::string scheme = lowercase(*url->scheme());
  if (scheme != "http" && scheme != "https") {
    finish(record, makeURLError(OVNURLErrorUnsupportedURL, url, "Only http and https URLs are supported."));
    return;
  }
  std::weak_ptr<Record> weakRecord = record;
  OVNCurlTransfer::Callbacks callbacks{[this, weakRecord](std::shared_ptr<OVNHTTPURLResponse> response) {
                                         if (auto held = weakRecord.lock()) {
                                           receivedNetworkResponse(held, std::move(response));
                                         }
                                       },
                                       [this, weakRecord](const char* bytes, std::size_t length) {
                                         if (auto held = weakRecord.lock()) receivedNetworkBody(held, bytes, length);
                                       },
                                       [this, weakRecord](std::int64_t sent, std::int64_t expected) {
                                         if (auto held = weakRecord.lock()) sentBody(held, sent, expected);
                                       }};
  auto transfer = std::make_unique<OVNCurlTransfer>(takeEasyHandle(), request, std::move(callbacks));
  if (auto error =
          transfer->prepare(*configuration_, {idleTimeout(*request), record->resourceDeadline}, record.get())) {
    recycle(transfer->releaseHandle());
    finish(record, std::move(error));
    return;
  }
  {
    std::lock_guard lock(record->task->mutex_);
    record->task->currentRequest_ = request;
  }
  CURL* easy = transfer->handle();
  record->transfer = std::move(transfer);
  active_.emplace(easy, record);
  curl_multi_add_handle(multi_, easy);
}

void OVNURLSessionCore::detachTransfer(Record& record) {
  if (!record.transfer) return;
  CURL* easy = record.transfer->releaseHandle();
  curl_multi_remove_handle(multi_, easy);
  active_.erase(easy);
  recycle(easy);
  record.transfer.reset();
}

CURL* OVNURLSessionCore::takeEasyHandle() {
  if (spareHandles_.empty()) return curl_easy_init();
  CURL* easy = spareHandles_.back();
  spareHandles_.pop_back();
  return easy;
}

void OVNURLSessionCore::recycle(CURL* easy) {
  if (!easy) return;
  curl_easy_reset(easy);
  spareHandles_.push_back(easy);
}

void OVNURLSessionCore::finish(const RecordRef& record, std::shared_ptr<OVNError> error) {
  if (record->finished.exchange(true)) return;
  complete(record, std::move(error));
}

void OVNURLSessionCore::complete(const RecordRef& record, std::shared_ptr<OVNError> error) {
  detachTransfer(*record);
  {
    std::lock_guard lock(record->task->mutex_);
    record->task->error_ = error;
  }
  record->task->state_.store(OVNURLSessionTaskStateCompleted, std::memory_order_release);
  if (!error) updateCache(record);
  record->events->push([this, record, self = shared_from_this()] { return deliverCompletion(record); });
}

void OVNURLSessionCore::redirect(const RecordRef& record) {
  auto response = record->transfer->response();
  auto current = record->transfer->request();
  const std::string location = record->transfer->redirectLocation();
  std::vector<char> body = std::move(record->transfer->redirectBody());
  detachTransfer(*record);
  if (++record->redirects > OVNURLSession::maximumRedirects) {
    finish(record, makeURLError(OVNURLErrorHTTPTooManyRedirects, current->URL(),
                                "More than 16 redirects in a row; the last went to " + location + "."));
    return;
  }
  auto target = OVNURL::URLWithString(location, current->URL());
  if (!target) {  // a location that is not a URL: the reply stands as it is
    deliverAsFinal(record, std::move(response), std::move(body));
    return;
  }
  {
    std::lock_guard lock(record->task->mutex_);
    record->task->response_ = response;
  }
  auto next = followingRequest(*current, *response, target->absoluteURL());
  record->events->push([this, record, response, next, body = std::move(body), self = shared_from_this()]() mutable {
    return deliverRedirect(record, response, next, std::move(body));
  });
}

void OVNURLSessionCore::deliverAsFinal(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response,
                                       std::vector<char> body) {
  if (record->finished) return;
  receivedResponse(record, std::move(response));
  if (!body.empty()) receivedBody(record, body.data(), body.size());
  finish(record, nullptr);
}

void OVNURLSessionCore::receivedResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response) {
  {
    std::lock_guard lock(record->task->mutex_);
    record->task->response_ = response;
  }
  record->task->bytesExpectedToReceive_.store(response->expectedContentLength(), std::memory_order_relaxed);
  record->events->push(
      [this, record, response, self = shared_from_this()] { return deliverResponse(record, response); });
}

void OVNURLSessionCore::receivedBody(const RecordRef& record, const char* bytes, std::size_t length) {
  record->task->bytesReceived_.fetch_add(static_cast<std::int64_t>(length), std::memory_order_relaxed);
  if (record->events->appendData(bytes, length)) {
    record->events->push([this, record, self = shared_from_this()] { return deliverData(record); });
  }
}

void OVNURLSessionCore::sentBody(const RecordRef& record, std::int64_t totalSent, std::int64_t expected) {
  const std::int64_t previous = record->task->bytesSent_.exchange(totalSent, std::memory_order_relaxed);
  if (totalSent <= previous) return;
  record->events->push([this, record, previous, totalSent, expected, self = shared_from_this()] {
    if (taskDelegate_) {
      taskDelegate_->URLSessionTaskDidSendBodyData(session(), record->task, totalSent - previous, totalSent, expected);
    }
    return true;
  });
}

// ---- the delegate queue --------------------------------------------------------------

bool OVNURLSessionCore::deliverResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response) {
  if (record->completion || record->kind == TaskKind::download || !dataDelegate_) return true;
  auto dataTask = std::static_pointer_cast<OVNURLSessionDataTask>(record->task);
  return record->events->ask<OVNURLSessionResponseDisposition>(
      [&](auto answer) { dataDelegate_->URLSessionDataTaskDidReceiveResponse(session(), dataTask, response, answer); },
      [record](OVNURLSessionResponseDisposition disposition) {
        if (disposition != OVNURLSessionResponseCancel) return;
        record->refused = true;
        record->task->cancel();
      });
}

bool OVNURLSessionCore::deliverData(const RecordRef& record) {
  std::vector<std::uint8_t> bytes = record->events->takeData();
  if (record->refused || bytes.empty()) return true;
  if (record->completion || record->kind == TaskKind::download) {
    const auto written = static_cast<std::int64_t>(bytes.size());
    record->collected.insert(record->collected.end(), bytes.begin(), bytes.end());
    if (record->kind == TaskKind::download && downloadDelegate_) {
      downloadDelegate_->URLSessionDownloadTaskDidWriteData(
          session(), std::static_pointer_cast<OVNURLSessionDownloadTask>(record->task), written,
          static_cast<std::int64_t>(record->collected.size()), record->task->countOfBytesExpectedToReceive());
    }
    return true;
  }
  if (dataDelegate_) {
    dataDelegate_->URLSessionDataTaskDidReceiveData(
        session(), std::static_pointer_cast<OVNURLSessionDataTask>(record->task), OVNData::make(std::move(bytes)));
  }
  return true;
}

bool OVNURLSessionCore::deliverRedirect(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response,
                                        std::shared_ptr<OVNURLRequest> next, std::vector<char> body) {
  auto follow = [this, record, response, body = std::move(body)](std::shared_ptr<OVNURLRequest> chosen) mutable {
    if (chosen) {
      auto request = chosen->immutableCopy();
      post([this, record, request] { beginRequest(record, request); });
    } else {
      post([this, record, response, body = std::move(body)]() mutable {
        deliverAsFinal(record, response, std::move(body));
      });
    }
  };
  if (!taskDelegate_) {
    follow(next);
    return true;
  }
  return record->events->ask<std::shared_ptr<OVNURLRequest>>(
      [&](auto answer) {
        taskDelegate_->URLSessionTaskWillPerformHTTPRedirection(session(), record->task, response, next, answer);
      },
      std::move(follow));
}

bool OVNURLSessionCore::deliverWillCache(const RecordRef& record, std::shared_ptr<OVNCachedURLResponse> proposed,
                                         StoreAnswer store) {
  deliverData(record);  // the delegate has every chunk before it is asked about the whole
  if (record->refused) return true;
  if (record->completion || !dataDelegate_) {
    store(std::move(proposed));
    return true;
  }
  auto dataTask = std::static_pointer_cast<OVNURLSessionDataTask>(record->task);
  return record->events->ask<std::shared_ptr<OVNCachedURLResponse>>(
      [&](auto answer) { dataDelegate_->URLSessionDataTaskWillCacheResponse(session(), dataTask, proposed, answer); },
      std::move(store));
}

bool OVNURLSessionCore::deliverCompletion(const RecordRef& record) {
  deliverData(record);
  if (record->refused) {  // refused after the transfer had ended: still a cancellation
    std::lock_guard lock(record->task->mutex_);
    if (!record->task->error_) {
      record->task->error_ = makeURLError(OVNURLErrorCancelled, record->task->currentRequest_->URL(),
                                          "The delegate refused the response.");
    }
  }
  // Off the table before anyone hears of it: a completed task is not among allTasks().
  bool becameIdle = false;
  {
    std::lock_guard lock(mutex_);
    records_.erase(record->task->taskIdentifier());
    becameIdle = invalidated_ && records_.empty();
  }
  auto error = record->task->error();
  if (record->kind == TaskKind::download && !error) finishDownload(record);
  if (record->completion) {
    auto data = error ? nullptr : OVNData::make(std::move(record->collected));
    auto completion = std::move(record->completion);
    completion(std::move(data), error ? nullptr : record->task->response(), error);
  }
  if (taskDelegate_) taskDelegate_->URLSessionTaskDidCompleteWithError(session(), record->task, error);
  if (becameIdle) becomeInvalid();
  return true;
}

void OVNURLSessionCore::finishDownload(const RecordRef& record) {
  std::error_code ignored;
  const auto path = std::filesystem::temp_directory_path(ignored) /
                    ("OvrinDownload-" + std::to_string(reinterpret_cast<std::uintptr_t>(this)) + "-" +
                     std::to_string(record->task->taskIdentifier()));
  {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(record->collected.data()),
               static_cast<std::streamsize>(record->collected.size()));
    if (!file) {
      std::lock_guard lock(record->task->mutex_);
      record->task->error_ = makeURLError(OVNURLErrorCannotCreateFile, record->task->currentRequest_->URL(),
                                          "Cannot write " + path.string() + ".");
      return;
    }
  }
  if (downloadDelegate_) {
    downloadDelegate_->URLSessionDownloadTaskDidFinishDownloadingToURL(
        session(), std::static_pointer_cast<OVNURLSessionDownloadTask>(record->task),
        OVNURL::fileURLWithPath(path.string()));
  }
  std::filesystem::remove(path, ignored);
}

void OVNURLSessionCore::becomeInvalid() {
  std::shared_ptr<OVNURLSession> session;
  std::shared_ptr<OVNURLSessionDelegateProtocol> delegate;
  {
    std::lock_guard lock(mutex_);
    if (invalidReported_) return;
    invalidReported_ = true;
    session = std::move(session_);
    delegate = std::move(delegate_);
    taskDelegate_ = nullptr;
    dataDelegate_ = nullptr;
    downloadDelegate_ = nullptr;
  }
  if (delegate) delegate->URLSessionDidBecomeInvalidWithError(session, nullptr);
  // The I/O thread ends, and with it its hold on the core.
  post([this] {
    std::lock_guard lock(mutex_);
    invalid_ = true;
  });
}

}  // namespace ovn::detail
