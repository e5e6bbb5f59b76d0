#include "Networking/OVNURLSessionTaskDelegate.h"

#include "Networking/detail/OVNLockedCopy.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNInputStream.h"
#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionTaskDelegate, (task, setTask), progress, data, (error, setError),
               (initialResponseTime, setInitialResponseTime), (credential, setCredential),
               (taskWillPerformHTTPRedirection, setTaskWillPerformHTTPRedirection),
               (taskDidReceiveAuthenticationChallenge, setTaskDidReceiveAuthenticationChallenge),
               (taskNeedNewBodyStream, setTaskNeedNewBodyStream), (taskDidComplete, setTaskDidComplete))

OVNURLSessionTaskDelegate::OVNURLSessionTaskDelegate()
    : queue_(std::make_shared<OVNOperationQueue>()), progress_(OVNProgress::progressWithTotalUnitCount(0)) {
  queue_->setMaxConcurrentOperationCount(1);
  queue_->setSuspended(true);
  queue_->setQualityOfService(OVNQualityOfService::Utility);
}

OVNURLSessionTaskDelegate::~OVNURLSessionTaskDelegate() {
  // Parked work whose request is gone must not run, but the queue must not hold it forever.
  queue_->cancelAllOperations();
  queue_->setSuspended(false);
}

std::shared_ptr<OVNURLSessionTaskDelegate> OVNURLSessionTaskDelegate::initWithTask(
    std::shared_ptr<OVNURLSessionTask> task) {
  auto delegate = OVNMake<OVNURLSessionTaskDelegate>();
  delegate->setTask(std::move(task));
  return delegate;
}

OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, std::shared_ptr<OVNURLSessionTask>, task, setTask, mutex_)
OVNDataRef OVNURLSessionTaskDelegate::data() const { return nullptr; }
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, std::shared_ptr<OVNError>, error, setError, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, std::shared_ptr<OVNURLCredential>, credential, setCredential, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, TaskWillPerformHTTPRedirectionBlock, taskWillPerformHTTPRedirection,
                     setTaskWillPerformHTTPRedirection, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, TaskDidReceiveAuthenticationChallengeBlock,
                     taskDidReceiveAuthenticationChallenge, setTaskDidReceiveAuthenticationChallenge, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, TaskNeedNewBodyStreamBlock, taskNeedNewBodyStream,
                     setTaskNeedNewBodyStream, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionTaskDelegate, TaskDidCompleteBlock, taskDidComplete, setTaskDidComplete, mutex_)

void OVNURLSessionTaskDelegate::URLSessionTaskWillPerformHTTPRedirection(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionTask>& task,
    const std::shared_ptr<OVNHTTPURLResponse>& response, const std::shared_ptr<OVNURLRequest>& newRequest,
    RedirectCompletion completion) {
  auto block = taskWillPerformHTTPRedirection();
  auto chosen = block ? block(session, task, response, newRequest) : newRequest;
  if (completion) completion(std::move(chosen));
}

void OVNURLSessionTaskDelegate::URLSessionTaskDidReceiveChallenge(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionTask>& task,
    const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge, ChallengeCompletion completion) {
  OVNURLSessionAuthChallengeDisposition disposition = OVNURLSessionAuthChallengePerformDefaultHandling;
  std::shared_ptr<OVNURLCredential> credential;
  if (auto block = taskDidReceiveAuthenticationChallenge()) disposition = block(session, task, challenge, &credential);
  if (completion) completion(disposition, std::move(credential));
}

void OVNURLSessionTaskDelegate::URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>& session,
                                                                const std::shared_ptr<OVNURLSessionTask>& task,
                                                                BodyStreamCompletion completion) {
  auto block = taskNeedNewBodyStream();
  std::shared_ptr<OVNInputStream> stream = block ? block(session, task) : nullptr;
  if (completion) completion(std::move(stream));
}

void OVNURLSessionTaskDelegate::URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>& session,
                                                                   const std::shared_ptr<OVNURLSessionTask>& task,
                                                                   const std::shared_ptr<OVNError>& error) {
  if (auto block = taskDidComplete()) {
    block(session, task, error);
    return;
  }
  queue_->setSuspended(false);
}
