#pragma once
// OVNURLSessionManagerDelegate: the delegate of a session manager's HTTP session. Each
// callback goes to the closure installed for it, else to the per-task delegate registered
// for the task, else gets a fixed default; every task completion also lowers the network
// activity count. It also keeps, by task identifier, each task's per-task delegate
// (`subdelegates`) and OVNRequest (`requestsCache`).
//
// Threads: the session calls it on its serial delegate queue, one callback at a time.
// Closures may be set from any thread and run on the delegate queue. The registrations may
// be read and written from any thread; they are guarded by `lock`, which is never held
// while calling out.
//
// Registrations over time (docs/NETWORKING.md): a registration is held strongly until its
// task has completed and the work parked for it has run, then weakly: a lookup still finds
// it while its request (which holds its delegate, which holds its task) is alive. Entries
// whose objects are gone are swept when a registry has doubled since its last sweep.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Network/OVNURLSessionDownloadDelegateProtocol.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNValue.h"

class OVNRequest;
class OVNProgress;
class OVNURL;

class OVN_EXPORT OVNURLSessionManagerDelegate : public OVNObject,
                                                public virtual OVNURLSessionDataDelegateProtocol,
                                                public virtual OVNURLSessionDownloadDelegateProtocol {
  OVN_CLASS(OVNURLSessionManagerDelegate, OVNObject)

 public:
  //! The name of `lock`.
  static constexpr std::string_view lockName = "com.ovrinweather.networking.session.manager.lock";

  using SessionDidBecomeInvalidBlock = std::function<void(std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNError>)>;
  //! Gives the disposition; may store a credential through the last argument (initially null).
  using SessionDidReceiveAuthenticationChallengeBlock = std::function<OVNURLSessionAuthChallengeDisposition(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLAuthenticationChallenge>,
      std::shared_ptr<OVNURLCredential>*)>;
  using DidFinishEventsForBackgroundURLSessionBlock = std::function<void(std::shared_ptr<OVNURLSession>)>;
  using TaskWillPerformHTTPRedirectionBlock = OVNURLSessionTaskDelegate::TaskWillPerformHTTPRedirectionBlock;
  using TaskDidReceiveAuthenticationChallengeBlock =
      OVNURLSessionTaskDelegate::TaskDidReceiveAuthenticationChallengeBlock;
  using TaskNeedNewBodyStreamBlock = OVNURLSessionTaskDelegate::TaskNeedNewBodyStreamBlock;
  //! (session, task, bytes sent now, total sent, total expected).
  using TaskDidSendBodyDataBlock = std::function<void(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionTask>, std::int64_t, std::int64_t, std::int64_t)>;
  using TaskDidCompleteBlock = OVNURLSessionTaskDelegate::TaskDidCompleteBlock;
  using DataTaskDidReceiveResponseBlock = OVNURLSessionDataTaskDelegate::DataTaskDidReceiveResponseBlock;
  using DataTaskDidBecomeDownloadTaskBlock = OVNURLSessionDataTaskDelegate::DataTaskDidBecomeDownloadTaskBlock;
  using DataTaskDidReceiveDataBlock = OVNURLSessionDataTaskDelegate::DataTaskDidReceiveDataBlock;
  using DataTaskWillCacheResponseBlock = OVNURLSessionDataTaskDelegate::DataTaskWillCacheResponseBlock;
  //! Gives where the file should go.
  using DownloadTaskDidFinishDownloadingBlock = std::function<std::shared_ptr<OVNURL>(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDownloadTask>, std::shared_ptr<OVNURL>)>;
  using DownloadTaskDidWriteDataBlock =
      std::function<void(std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDownloadTask>, std::int64_t,
                         std::int64_t, std::int64_t)>;
  using DownloadTaskDidResumeBlock = std::function<void(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDownloadTask>, std::int64_t, std::int64_t)>;
  using ProgressBlock = std::function<void(std::shared_ptr<OVNProgress>)>;
  using CompletionHandlerBlock =
      std::function<void(std::shared_ptr<OVNURLResponse>, OVNValue, std::shared_ptr<OVNError>)>;

  //! Empty registries and the lock; equivalent to OVNMake<OVNURLSessionManagerDelegate>().
  OVNURLSessionManagerDelegate();
  ~OVNURLSessionManagerDelegate() override;
  static std::shared_ptr<OVNURLSessionManagerDelegate> init();

  //! The per-task delegate registered for `task`, or null.
  std::shared_ptr<OVNURLSessionTaskDelegate> delegateForTask(const std::shared_ptr<OVNURLSessionTask>& task) const;
  //! Registers `delegate` for `task`, replacing an earlier one (null removes it).
  void setDelegate(std::shared_ptr<OVNURLSessionTaskDelegate> delegate, const std::shared_ptr<OVNURLSessionTask>& task);
  //! The request registered for `task`, or null.
  std::shared_ptr<OVNRequest> requestForTask(const std::shared_ptr<OVNURLSessionTask>& task) const;
  void setRequest(std::shared_ptr<OVNRequest> request, const std::shared_ptr<OVNURLSessionTask>& task);
  //! Entries in both registries, those released and not yet swept included.
  std::size_t registrationCount() const;

  //! A concurrent queue kept for subclasses; nothing here uses it.
  const OVNDispatchQueueRef& subdelegateQueue() const { return subdelegateQueue_; }

  // Closures (null: not installed). Those marked "stored only" are never called here.
  SessionDidBecomeInvalidBlock sessionDidBecomeInvalid() const;
  void setSessionDidBecomeInvalid(SessionDidBecomeInvalidBlock block);
  SessionDidReceiveAuthenticationChallengeBlock sessionDidReceiveAuthenticationChallenge() const;
  void setSessionDidReceiveAuthenticationChallenge(SessionDidReceiveAuthenticationChallengeBlock block);
  DidFinishEventsForBackgroundURLSessionBlock didFinishEventsForBackgroundURLSession() const;
  void setDidFinishEventsForBackgroundURLSession(DidFinishEventsForBackgroundURLSessionBlock block);
  TaskWillPerformHTTPRedirectionBlock taskWillPerformHTTPRedirection() const;
  void setTaskWillPerformHTTPRedirection(TaskWillPerformHTTPRedirectionBlock block);
  //! Stored only.
  TaskDidReceiveAuthenticationChallengeBlock taskDidReceiveAuthenticationChallenge() const;
  void setTaskDidReceiveAuthenticationChallenge(TaskDidReceiveAuthenticationChallengeBlock block);
  TaskNeedNewBodyStreamBlock taskNeedNewBodyStream() const;
  void setTaskNeedNewBodyStream(TaskNeedNewBodyStreamBlock block);
  TaskDidSendBodyDataBlock taskDidSendBodyData() const;
  void setTaskDidSendBodyData(TaskDidSendBodyDataBlock block);
  //! When set, completion calls it instead of the per-task delegate, whose work then stays
  //! parked.
  TaskDidCompleteBlock taskDidComplete() const;
  void setTaskDidComplete(TaskDidCompleteBlock block);
  DataTaskDidReceiveResponseBlock dataTaskDidReceiveResponse() const;
  void setDataTaskDidReceiveResponse(DataTaskDidReceiveResponseBlock block);
  DataTaskDidBecomeDownloadTaskBlock dataTaskDidBecomeDownloadTask() const;
  void setDataTaskDidBecomeDownloadTask(DataTaskDidBecomeDownloadTaskBlock block);
  DataTaskDidReceiveDataBlock dataTaskDidReceiveData() const;
  void setDataTaskDidReceiveData(DataTaskDidReceiveDataBlock block);
  DataTaskWillCacheResponseBlock dataTaskWillCacheResponse() const;
  void setDataTaskWillCacheResponse(DataTaskWillCacheResponseBlock block);
  //! Stored only.
  DownloadTaskDidFinishDownloadingBlock downloadTaskDidFinishDownloading() const;
  void setDownloadTaskDidFinishDownloading(DownloadTaskDidFinishDownloadingBlock block);
  //! Stored only.
  DownloadTaskDidWriteDataBlock downloadTaskDidWriteData() const;
  void setDownloadTaskDidWriteData(DownloadTaskDidWriteDataBlock block);
  //! Stored only.
  DownloadTaskDidResumeBlock downloadTaskDidResume() const;
  void setDownloadTaskDidResume(DownloadTaskDidResumeBlock block);
  //! Stored only.
  ProgressBlock uploadProgressBlock() const;
  void setUploadProgressBlock(ProgressBlock block);
  //! Stored only.
  ProgressBlock downloadProgressBlock() const;
  void setDownloadProgressBlock(ProgressBlock block);
  //! Stored only.
  CompletionHandlerBlock completionHandler() const;
  void setCompletionHandler(CompletionHandlerBlock block);

  // Session callbacks.
  void URLSessionDidBecomeInvalidWithError(const std::shared_ptr<OVNURLSession>& session,
                                           const std::shared_ptr<OVNError>& error) override;
  //! The closure's answer, else default handling (server trust included).
  void URLSessionDidReceiveChallenge(const std::shared_ptr<OVNURLSession>& session,
                                     const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
                                     ChallengeCompletion completion) override;
  void URLSessionDidFinishEventsForBackgroundURLSession(const std::shared_ptr<OVNURLSession>& session) override;

  // Task callbacks.
  //! The closure's request, else `newRequest`: redirects are followed.
  void URLSessionTaskWillPerformHTTPRedirection(const std::shared_ptr<OVNURLSession>& session,
                                                const std::shared_ptr<OVNURLSessionTask>& task,
                                                const std::shared_ptr<OVNHTTPURLResponse>& response,
                                                const std::shared_ptr<OVNURLRequest>& newRequest,
                                                RedirectCompletion completion) override;
  //! Answers nothing, closure or not: the completion is never called.
  void URLSessionTaskDidReceiveChallenge(const std::shared_ptr<OVNURLSession>& session,
                                         const std::shared_ptr<OVNURLSessionTask>& task,
                                         const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
                                         ChallengeCompletion completion) override;
  //! Answers with the closure's stream when both closure and completion are given;
  //! otherwise answers nothing.
  void URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>& session,
                                       const std::shared_ptr<OVNURLSessionTask>& task,
                                       BodyStreamCompletion completion) override;
  void URLSessionTaskDidSendBodyData(const std::shared_ptr<OVNURLSession>& session,
                                     const std::shared_ptr<OVNURLSessionTask>& task, std::int64_t bytesSent,
                                     std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) override;
  //! Lowers the activity count, then calls the closure or the per-task delegate.
  void URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>& session,
                                          const std::shared_ptr<OVNURLSessionTask>& task,
                                          const std::shared_ptr<OVNError>& error) override;

  // Data callbacks.
  //! The closure's disposition, else allow; the per-task delegate does not hear of it.
  void URLSessionDataTaskDidReceiveResponse(const std::shared_ptr<OVNURLSession>& session,
                                            const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                            const std::shared_ptr<OVNURLResponse>& response,
                                            ResponseCompletion completion) override;
  void URLSessionDataTaskDidBecomeDownloadTask(const std::shared_ptr<OVNURLSession>& session,
                                               const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                               const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask) override;
  void URLSessionDataTaskDidReceiveData(const std::shared_ptr<OVNURLSession>& session,
                                        const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                        const std::shared_ptr<const OVNData>& data) override;
  void URLSessionDataTaskWillCacheResponse(const std::shared_ptr<OVNURLSession>& session,
                                           const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                           const std::shared_ptr<OVNCachedURLResponse>& proposedResponse,
                                           CacheCompletion completion) override;

  // Download callbacks.
  //! Does nothing.
  void URLSessionDownloadTaskDidFinishDownloadingToURL(const std::shared_ptr<OVNURLSession>& session,
                                                       const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask,
                                                       const std::shared_ptr<OVNURL>& location) override;

 private:
  template <class T>
  struct Registration {
    std::shared_ptr<T> strong;  // until the task's parked work has run
    std::weak_ptr<T> weak;
  };
  template <class T>
  struct Registry {
    std::unordered_map<std::uint64_t, Registration<T>> entries;
    std::size_t sweepAt = 0;  // the size at which to sweep next
  };

  //! The data delegate registered for the task, or null.
  std::shared_ptr<OVNURLSessionDataTaskDelegate> dataDelegateForTask(
      const std::shared_ptr<OVNURLSessionTask>& task) const;
  //! Holds the task's registrations weakly once its parked work (and what that work posted)
  //! has run; keeps them strong while that work stays parked.
  void releaseRegistrationsAfterParkedWork(const std::shared_ptr<OVNURLSessionTask>& task,
                                           const std::shared_ptr<OVNURLSessionTaskDelegate>& delegate);
  void demoteRegistrations(std::uint64_t identifier);

  mutable std::mutex lock_;  // "com.ovrinweather.networking.session.manager.lock": both registries
  Registry<OVNURLSessionTaskDelegate> subdelegates_;
  Registry<OVNRequest> requestsCache_;
  OVNDispatchQueueRef subdelegateQueue_;

  mutable std::mutex closuresMutex_;  // guards the closures below
  SessionDidBecomeInvalidBlock sessionDidBecomeInvalid_;
  SessionDidReceiveAuthenticationChallengeBlock sessionDidReceiveAuthenticationChallenge_;
  DidFinishEventsForBackgroundURLSessionBlock didFinishEventsForBackgroundURLSession_;
  TaskWillPerformHTTPRedirectionBlock taskWillPerformHTTPRedirection_;
  TaskDidReceiveAuthenticationChallengeBlock taskDidReceiveAuthenticationChallenge_;
  TaskNeedNewBodyStreamBlock taskNeedNewBodyStream_;
  TaskDidSendBodyDataBlock taskDidSendBodyData_;
  TaskDidCompleteBlock taskDidComplete_;
  DataTaskDidReceiveResponseBlock dataTaskDidReceiveResponse_;
  DataTaskDidBecomeDownloadTaskBlock dataTaskDidBecomeDownloadTask_;
  DataTaskDidReceiveDataBlock dataTaskDidReceiveData_;
  DataTaskWillCacheResponseBlock dataTaskWillCacheResponse_;
  DownloadTaskDidFinishDownloadingBlock downloadTaskDidFinishDownloading_;
  DownloadTaskDidWriteDataBlock downloadTaskDidWriteData_;
  DownloadTaskDidResumeBlock downloadTaskDidResume_;
  ProgressBlock uploadProgressBlock_;
  ProgressBlock downloadProgressBlock_;
  CompletionHandlerBlock completionHandler_;
};
