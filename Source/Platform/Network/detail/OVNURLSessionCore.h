#pragma once
// The working part of an OVNURLSession: its I/O thread with one libcurl multi handle, the
// table of its tasks, and the delivery of every event to the delegate on the delegate
// queue. The public session, its tasks and the I/O thread share it.
//
// Threads: commands from any thread are queued and run on the I/O thread, which alone
// touches libcurl; task records' transfer fields belong to the I/O thread, their delivery
// fields to the delegate queue. `mutex_` guards the command list, the task table and the
// invalidation state, and is never held while calling out.

#include <curl/curl.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSession.h"

class OVNURLSessionTaskDelegateProtocol;
class OVNURLSessionDataDelegateProtocol;
class OVNURLSessionDownloadDelegateProtocol;
class OVNHTTPURLResponse;
class OVNCachedURLResponse;

namespace ovn::detail {

class OVNCurlTransfer;

class OVNURLSessionCore : public std::enable_shared_from_this<OVNURLSessionCore> {
 public:
  enum class TaskKind { data, upload, download };

  static std::shared_ptr<OVNURLSessionCore> make(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                                                 std::shared_ptr<OVNURLSessionDelegateProtocol> delegate,
                                                 OVNDispatchQueueRef delegateQueue);
  ~OVNURLSessionCore();

  //! The public session, kept alive until it has become invalid.
  void attach(const std::shared_ptr<OVNURLSession>& session);
  std::shared_ptr<OVNURLSessionTask> makeTask(TaskKind kind, const std::shared_ptr<OVNURLRequest>& request,
                                              std::shared_ptr<const OVNData> body,
                                              OVNURLSession::DataCompletion completion);
  std::vector<std::shared_ptr<OVNURLSessionTask>> allTasks() const;
  void invalidate(bool cancelTasks);

  const std::shared_ptr<OVNURLSessionConfiguration>& configuration() const { return configuration_; }
  std::shared_ptr<OVNURLSessionDelegateProtocol> delegate() const;
  const OVNDispatchQueueRef& delegateQueue() const { return delegateQueue_; }

  // From the tasks.
  void startTask(std::uint64_t identifier);
  void setTaskPaused(std::uint64_t identifier, bool paused);
  void cancelTask(std::uint64_t identifier);

 private:
  struct Record;
  using RecordRef = std::shared_ptr<Record>;
  using Clock = std::chrono::steady_clock;

  OVNURLSessionCore(std::shared_ptr<OVNURLSessionConfiguration> configuration,
                    std::shared_ptr<OVNURLSessionDelegateProtocol> delegate, OVNDispatchQueueRef delegateQueue);
  RecordRef record(std::uint64_t identifier) const;
  void post(std::function<void()> command);

  // I/O thread.
  void runLoop();
  void runCommands();
  void collectFinished();
  void expireIdleTransfers();
  int pollTimeoutMilliseconds() const;
  //! The request's own timeout when it set a positive one, else the configuration's.
  double idleTimeout(const OVNURLRequest& request) const;
  //! Starts one request of a task (the first, or one a redirect leads to), through the
  //! response cache when the task has one: served from it, revalidated, or sent.
  void beginRequest(const RecordRef& record, std::shared_ptr<OVNURLRequest> request);
  std::shared_ptr<OVNHTTPCache> cacheFor(const Record& record, const OVNURLRequest& request) const;
  //! The request as the server sees it: with the configuration's additional header fields.
  std::shared_ptr<OVNURLRequest> sentForm(const std::shared_ptr<OVNURLRequest>& request) const;
  void serveStored(const RecordRef& record, const OVNHTTPCache::Entry& entry);
  //! On the thread that resumes a task: answers it at once when the memory layer holds a
  //! reply the rules let it serve (no hand-over to the I/O thread); false otherwise.
  bool serveFromMemory(const RecordRef& record);
  OVNURLRequestCachePolicy effectivePolicy(const OVNURLRequest& request) const;
  void startTransfer(const RecordRef& record, std::shared_ptr<OVNURLRequest> request);
  void detachTransfer(Record& record);
  //! Ends the task once: the first call wins.
  void finish(const RecordRef& record, std::shared_ptr<OVNError> error);
  //! What ending involves, for a caller that has already claimed the task.
  void complete(const RecordRef& record, std::shared_ptr<OVNError> error);
  void redirect(const RecordRef& record);
  void deliverAsFinal(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response, std::vector<char> body);
  void receivedNetworkResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response);
  //! A 304 that confirms the stored reply: the stored reply, refreshed, is the answer.
  bool answerFromRevalidatedEntry(const RecordRef& record, const OVNHTTPURLResponse& notModified);
  void receivedNetworkBody(const RecordRef& record, const char* bytes, std::size_t length);
  void receivedResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response);
  //! Queues what a finished request does to the cache: the offer to store its reply, or
  //! the removal of a reply its unsafe method made stale.
  void updateCache(const RecordRef& record);
  void receivedBody(const RecordRef& record, const char* bytes, std::size_t length);
  void sentBody(const RecordRef& record, std::int64_t totalSent, std::int64_t expected);
  CURL* takeEasyHandle();
  void recycle(CURL* easy);

  // Delegate queue.
  bool deliverResponse(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response);
  bool deliverData(const RecordRef& record);
  bool deliverRedirect(const RecordRef& record, std::shared_ptr<OVNHTTPURLResponse> response,
                       std::shared_ptr<OVNURLRequest> next, std::vector<char> body);
  //! Stores the answer of the delegate's "will cache" question, unless it is null.
  using StoreAnswer = std::function<void(std::shared_ptr<OVNCachedURLResponse>)>;
  bool deliverWillCache(const RecordRef& record, std::shared_ptr<OVNCachedURLResponse> proposed, StoreAnswer store);
  bool deliverCompletion(const RecordRef& record);
  void finishDownload(const RecordRef& record);
  void becomeInvalid();
  std::shared_ptr<OVNURLSession> session() const;

  const std::shared_ptr<OVNURLSessionConfiguration> configuration_;
  const OVNDispatchQueueRef delegateQueue_;
  CURLM* multi_ = nullptr;

  mutable std::mutex mutex_;
  std::vector<std::function<void()>> commands_;
  std::unordered_map<std::uint64_t, RecordRef> records_;
  std::uint64_t nextIdentifier_ = 0;
  bool invalidated_ = false;
  bool invalidReported_ = false;
  bool invalid_ = false;  // the I/O thread may end
  std::shared_ptr<OVNURLSession> session_;
  std::shared_ptr<OVNURLSessionDelegateProtocol> delegate_;
  OVNURLSessionTaskDelegateProtocol* taskDelegate_ = nullptr;
  OVNURLSessionDataDelegateProtocol* dataDelegate_ = nullptr;
  OVNURLSessionDownloadDelegateProtocol* downloadDelegate_ = nullptr;

  // I/O thread only.
  std::unordered_map<CURL*, RecordRef> active_;
  std::vector<CURL*> spareHandles_;
};

}  // namespace ovn::detail
