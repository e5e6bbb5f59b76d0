#include "Networking/OVNURLSessionManagerDelegate.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Networking/OVNNetworkActivityIndicatorManager.h"
#include "Networking/OVNRequest.h"
#include "Networking/OVNURLSessionUploadTaskDelegate.h"
#include "Networking/detail/OVNLockedCopy.h"
#include "Networking/detail/OVNPendingDeliveries.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNInputStream.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionManagerDelegate, (sessionDidBecomeInvalid, setSessionDidBecomeInvalid),
               (sessionDidReceiveAuthenticationChallenge, setSessionDidReceiveAuthenticationChallenge),
               (didFinishEventsForBackgroundURLSession, setDidFinishEventsForBackgroundURLSession),
               (taskWillPerformHTTPRedirection, setTaskWillPerformHTTPRedirection),
               (taskDidReceiveAuthenticationChallenge, setTaskDidReceiveAuthenticationChallenge),
               (taskNeedNewBodyStream, setTaskNeedNewBodyStream), (taskDidSendBodyData, setTaskDidSendBodyData),
               (taskDidComplete, setTaskDidComplete), (dataTaskDidReceiveResponse, setDataTaskDidReceiveResponse),
               (dataTaskDidBecomeDownloadTask, setDataTaskDidBecomeDownloadTask),
               (dataTaskDidReceiveData, setDataTaskDidReceiveData),
               (dataTaskWillCacheResponse, setDataTaskWillCacheResponse),
               (downloadTaskDidFinishDownloading, setDownloadTaskDidFinishDownloading),
               (downloadTaskDidWriteData, setDownloadTaskDidWriteData),
               (downloadTaskDidResume, setDownloadTaskDidResume), (uploadProgressBlock, setUploadProgressBlock),
               (downloadProgressBlock, setDownloadProgressBlock), (completionHandler, setCompletionHandler))

namespace {

// Registries smaller than this are not swept: sweeping them would cost more than it frees.
constexpr std::size_t kMinimumSweepSize = 64;

template <class Registry>
auto lookUp(const Registry& registry, std::uint64_t identifier) -> decltype(registry.entries.begin()->second.strong) {
  auto found = registry.entries.find(identifier);
  if (found == registry.entries.end()) return nullptr;
  return found->second.strong ? found->second.strong : found->second.weak.lock();
}

// Drops the entries whose objects are gone, once the registry has doubled since the last
// sweep, so that a manager living for the process keeps only its live registrations.
template <class Registry>
void sweepIfGrown(Registry& registry) {
  if (registry.entries.size() < std::max(registry.sweepAt, kMinimumSweepSize)) return;
  std::erase_if(registry.entries,
                [](const auto& entry) { return !entry.second.strong && entry.second.weak.expired(); });
  registry.sweepAt = 2 * registry.entries.size();
}

// Stores `object` under `identifier` (null removes the entry); returns what it replaced so
// that the caller lets go of it after unlocking.
template <class Registry, class T>
std::shared_ptr<T> store(Registry& registry, std::uint64_t identifier, std::shared_ptr<T> object) {
  std::shared_ptr<T> replaced;
  auto found = registry.entries.find(identifier);
  if (found != registry.entries.end()) replaced = std::move(found->second.strong);
  if (!object) {
    if (found != registry.entries.end()) registry.entries.erase(found);
    return replaced;
  }
  std::weak_ptr<T> weak = object;
  registry.entries[identifier] = {std::move(object), std::move(weak)};
  sweepIfGrown(registry);
  return replaced;
}

template <class Registry>
auto demote(Registry& registry, std::uint64_t identifier) -> decltype(registry.entries.begin()->second.strong) {
  auto found = registry.entries.find(identifier);
  if (found == registry.entries.end()) return nullptr;
  return std::move(found->second.strong);
}

}  // namespace

// Closure accessors: copies under `closuresMutex_`, so that a closure runs with no lock held.
#define OVN_CLOSURE_ACCESSORS(Type, getter, setter) \
  OVN_LOCKED_ACCESSORS(OVNURLSessionManagerDelegate, Type, getter, setter, closuresMutex_)

OVN_CLOSURE_ACCESSORS(SessionDidBecomeInvalidBlock, sessionDidBecomeInvalid, setSessionDidBecomeInvalid)
OVN_CLOSURE_ACCESSORS(SessionDidReceiveAuthenticationChallengeBlock, sessionDidReceiveAuthenticationChallenge,
                      setSessionDidReceiveAuthenticationChallenge)
OVN_CLOSURE_ACCESSORS(DidFinishEventsForBackgroundURLSessionBlock, didFinishEventsForBackgroundURLSession,
                      setDidFinishEventsForBackgroundURLSession)
OVN_CLOSURE_ACCESSORS(TaskWillPerformHTTPRedirectionBlock, taskWillPerformHTTPRedirection,
                      setTaskWillPerformHTTPRedirection)
OVN_CLOSURE_ACCESSORS(TaskDidReceiveAuthenticationChallengeBlock, taskDidReceiveAuthenticationChallenge,
                      setTaskDidReceiveAuthenticationChallenge)
OVN_CLOSURE_ACCESSORS(TaskNeedNewBodyStreamBlock, taskNeedNewBodyStream, setTaskNeedNewBodyStream)
OVN_CLOSURE_ACCESSORS(TaskDidSendBodyDataBlock, taskDidSendBodyData, setTaskDidSendBodyData)
OVN_CLOSURE_ACCESSORS(TaskDidCompleteBlock, taskDidComplete, setTaskDidComplete)
OVN_CLOSURE_ACCESSORS(DataTaskDidReceiveResponseBlock, dataTaskDidReceiveResponse, setDataTaskDidReceiveResponse)
OVN_CLOSURE_ACCESSORS(DataTaskDidBecomeDownloadTaskBlock, dataTaskDidBecomeDownloadTask,
                      setDataTaskDidBecomeDownloadTask)
OVN_CLOSURE_ACCESSORS(DataTaskDidReceiveDataBlock, dataTaskDidReceiveData, setDataTaskDidReceiveData)
OVN_CLOSURE_ACCESSORS(DataTaskWillCacheResponseBlock, dataTaskWillCacheResponse, setDataTaskWillCacheResponse)
OVN_CLOSURE_ACCESSORS(DownloadTaskDidFinishDownloadingBlock, downloadTaskDidFinishDownloading,
                      setDownloadTaskDidFinishDownloading)
OVN_CLOSURE_ACCESSORS(DownloadTaskDidWriteDataBlock, downloadTaskDidWriteData, setDownloadTaskDidWriteData)
OVN_CLOSURE_ACCESSORS(DownloadTaskDidResumeBlock, downloadTaskDidResume, setDownloadTaskDidResume)
OVN_CLOSURE_ACCESSORS(ProgressBlock, uploadProgressBlock, setUploadProgressBlock)
OVN_CLOSURE_ACCESSORS(ProgressBlock, downloadProgressBlock, setDownloadProgressBlock)
OVN_CLOSURE_ACCESSORS(CompletionHandlerBlock, completionHandler, setCompletionHandler)

#undef OVN_CLOSURE_ACCESSORS

OVNURLSessionManagerDelegate::OVNURLSessionManagerDelegate()
    // The platform has no factory for private concurrent queues; the shared one stands in.
    : subdelegateQueue_(OVNDispatchQueue::global()) {}

OVNURLSessionManagerDelegate::~OVNURLSessionManagerDelegate() = default;

std::shared_ptr<OVNURLSessionManagerDelegate> OVNURLSessionManagerDelegate::init() {
  return OVNMake<OVNURLSessionManagerDelegate>();
}

// ---- registrations -------------------------------------------------------------------

std::shared_ptr<OVNURLSessionTaskDelegate> OVNURLSessionManagerDelegate::delegateForTask(
    const std::shared_ptr<OVNURLSessionTask>& task) const {
  if (!task) return nullptr;
  std::lock_guard lock(lock_);
  return lookUp(subdelegates_, task->taskIdentifier());
}

void OVNURLSessionManagerDelegate::setDelegate(std::shared_ptr<OVNURLSessionTaskDelegate> delegate,
                                               const std::shared_ptr<OVNURLSessionTask>& task) {
  if (!task) return;
  std::shared_ptr<OVNURLSessionTaskDelegate> replaced;
  std::lock_guard lock(lock_);
  replaced = store(subdelegates_, task->taskIdentifier(), std::move(delegate));
}

std::shared_ptr<OVNRequest> OVNURLSessionManagerDelegate::requestForTask(
    const std::shared_ptr<OVNURLSessionTask>& task) const {
  if (!task) return nullptr;
  std::lock_guard lock(lock_);
  return lookUp(requestsCache_, task->taskIdentifier());
}

void OVNURLSessionManagerDelegate::setRequest(std::shared_ptr<OVNRequest> request,
                                              const std::shared_ptr<OVNURLSessionTask>& task) {
  if (!task) return;
  std::shared_ptr<OVNRequest> replaced;
  std::lock_guard lock(lock_);
  replaced = store(requestsCache_, task->taskIdentifier(), std::move(request));
}

std::size_t OVNURLSessionManagerDelegate::registrationCount() const {
  std::lock_guard lock(lock_);
  return subdelegates_.entries.size() + requestsCache_.entries.size();
}

std::shared_ptr<OVNURLSessionDataTaskDelegate> OVNURLSessionManagerDelegate::dataDelegateForTask(
    const std::shared_ptr<OVNURLSessionTask>& task) const {
  return std::dynamic_pointer_cast<OVNURLSessionDataTaskDelegate>(delegateForTask(task));
}

void OVNURLSessionManagerDelegate::releaseRegistrationsAfterParkedWork(
    const std::shared_ptr<OVNURLSessionTask>& task, const std::shared_ptr<OVNURLSessionTaskDelegate>& delegate) {
  const std::uint64_t identifier = task->taskIdentifier();
  std::weak_ptr<OVNURLSessionManagerDelegate> weakSelf = std::static_pointer_cast<OVNURLSessionManagerDelegate>(self());
  if (!delegate) {
    demoteRegistrations(identifier);  // without a delegate nothing can be parked
    return;
  }
  // A `taskDidComplete` closure left the work parked: it runs only when the delegate goes,
  // so the registration stays as it is.
  if (delegate->queue()->isSuspended()) return;
  std::weak_ptr<OVNRequest> weakRequest = requestForTask(task);
  // Runs after every operation parked so far; the blocks those posted may still be queued.
  delegate->queue()->addOperationWithBlock([weakSelf, weakRequest, identifier] {
    auto demote = [weakSelf, identifier] {
      if (auto self = weakSelf.lock()) self->demoteRegistrations(identifier);
    };
    if (auto request = weakRequest.lock()) {
      request->pendingDeliveries_->notifyWhenIdle(std::move(demote));
    } else {
      demote();
    }
  });
}

void OVNURLSessionManagerDelegate::demoteRegistrations(std::uint64_t identifier) {
  std::shared_ptr<OVNURLSessionTaskDelegate> delegate;
  std::shared_ptr<OVNRequest> request;
  std::lock_guard lock(lock_);
  delegate = demote(subdelegates_, identifier);
  request = demote(requestsCache_, identifier);
  // Declared before the guard, they are let go after it: their destructors run unlocked.
}

// ---- session callbacks ---------------------------------------------------------------

void OVNURLSessionManagerDelegate::URLSessionDidBecomeInvalidWithError(const std::shared_ptr<OVNURLSession>& session,
                                                                       const std::shared_ptr<OVNError>& error) {
  if (auto block = sessionDidBecomeInvalid()) block(session, error);
}

void OVNURLSessionManagerDelegate::URLSessionDidReceiveChallenge(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
    ChallengeCompletion completion) {
  OVNURLSessionAuthChallengeDisposition disposition = OVNURLSessionAuthChallengePerformDefaultHandling;
  std::shared_ptr<OVNURLCredential> credential;
  if (auto block = sessionDidReceiveAuthenticationChallenge()) disposition = block(session, challenge, &credential);
  if (completion) completion(disposition, std::move(credential));
}

void OVNURLSessionManagerDelegate::URLSessionDidFinishEventsForBackgroundURLSession(
    const std::shared_ptr<OVNURLSession>& session) {
  if (auto block = didFinishEventsForBackgroundURLSession()) block(session);
}

// ---- task callbacks ------------------------------------------------------------------

void OVNURLSessionManagerDelegate::URLSessionTaskWillPerformHTTPRedirection(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionTask>& task,
    const std::shared_ptr<OVNHTTPURLResponse>& response, const std::shared_ptr<OVNURLRequest>& newRequest,
    RedirectCompletion completion) {
  auto block = taskWillPerformHTTPRedirection();
  auto chosen = block ? block(session, task, response, newRequest) : newRequest;
  if (completion) completion(std::move(chosen));
}

void OVNURLSessionManagerDelegate::URLSessionTaskDidReceiveChallenge(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionTask>&,
    const std::shared_ptr<OVNURLAuthenticationChallenge>&, ChallengeCompletion) {
  // Deliberately silent: task-level challenges are left unanswered, closure or not.
}

void OVNURLSessionManagerDelegate::URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>& session,
                                                                   const std::shared_ptr<OVNURLSessionTask>& task,
                                                                   BodyStreamCompletion completion) {
  // Deliberately silent without a closure.
  auto block = taskNeedNewBodyStream();
  if (block && completion) completion(block(session, task));
}

void OVNURLSessionManagerDelegate::URLSessionTaskDidSendBodyData(const std::shared_ptr<OVNURLSession>& session,
                                                                 const std::shared_ptr<OVNURLSessionTask>& task,
                                                                 std::int64_t bytesSent, std::int64_t totalBytesSent,
                                                                 std::int64_t totalBytesExpectedToSend) {
  if (auto block = taskDidSendBodyData()) {
    block(session, task, bytesSent, totalBytesSent, totalBytesExpectedToSend);
    return;
  }
  auto upload = std::dynamic_pointer_cast<OVNURLSessionUploadTaskDelegate>(delegateForTask(task));
  if (upload) upload->URLSessionTaskDidSendBodyData(session, task, bytesSent, totalBytesSent, totalBytesExpectedToSend);
}

void OVNURLSessionManagerDelegate::URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>& session,
                                                                      const std::shared_ptr<OVNURLSessionTask>& task,
                                                                      const std::shared_ptr<OVNError>& error) {
  OVNNetworkActivityIndicatorManager::sharedManager()->decrementActivityCount();
  auto delegate = delegateForTask(task);
  if (auto block = taskDidComplete()) {
    block(session, task, error);
  } else if (delegate) {
    delegate->URLSessionTaskDidCompleteWithError(session, task, error);
  }
  if (task) releaseRegistrationsAfterParkedWork(task, delegate);
}

// ---- data callbacks ------------------------------------------------------------------

void OVNURLSessionManagerDelegate::URLSessionDataTaskDidReceiveResponse(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNURLResponse>& response, ResponseCompletion completion) {
  auto block = dataTaskDidReceiveResponse();
  const auto disposition = block ? block(session, dataTask, response) : OVNURLSessionResponseAllow;
  if (completion) completion(disposition);
}

void OVNURLSessionManagerDelegate::URLSessionDataTaskDidBecomeDownloadTask(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask) {
  if (auto block = dataTaskDidBecomeDownloadTask()) block(session, dataTask, downloadTask);
}

void OVNURLSessionManagerDelegate::URLSessionDataTaskDidReceiveData(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<const OVNData>& data) {
  if (auto block = dataTaskDidReceiveData()) {
    block(session, dataTask, data);
    return;
  }
  if (auto delegate = dataDelegateForTask(dataTask))
    delegate->URLSessionDataTaskDidReceiveData(session, dataTask, data);
}

void OVNURLSessionManagerDelegate::URLSessionDataTaskWillCacheResponse(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNCachedURLResponse>& proposedResponse, CacheCompletion completion) {
  if (auto block = dataTaskWillCacheResponse()) {
    if (completion) completion(block(session, dataTask, proposedResponse));
    return;
  }
  if (auto delegate = dataDelegateForTask(dataTask)) {
    delegate->URLSessionDataTaskWillCacheResponse(session, dataTask, proposedResponse, std::move(completion));
    return;
  }
  if (completion) completion(proposedResponse);
}

// ---- download callbacks --------------------------------------------------------------

void OVNURLSessionManagerDelegate::URLSessionDownloadTaskDidFinishDownloadingToURL(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionDownloadTask>&,
    const std::shared_ptr<OVNURL>&) {}
