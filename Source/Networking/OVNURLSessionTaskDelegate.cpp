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

using ovn::detail::lockedCopy;
using ovn::detail::lockedStore;

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

std::shared_ptr<OVNURLSessionTask> OVNURLSessionTaskDelegate::task() const { return lockedCopy(mutex_, task_); }
void OVNURLSessionTaskDelegate::setTask(std::shared_ptr<OVNURLSessionTask> task) {
  lockedStore(mutex_, task_, std::move(task));
}
OVNDataRef OVNURLSessionTaskDelegate::data() const { return nullptr; }
std::shared_ptr<OVNError> OVNURLSessionTaskDelegate::error() const { return lockedCopy(mutex_, error_); }
void OVNURLSessionTaskDelegate::setError(std::shared_ptr<OVNError> error) {
  lockedStore(mutex_, error_, std::move(error));
}
std::shared_ptr<OVNURLCredential> OVNURLSessionTaskDelegate::credential() const {
  return lockedCopy(mutex_, credential_);
}
void OVNURLSessionTaskDelegate::setCredential(std::shared_ptr<OVNURLCredential> credential) {
  lockedStore(mutex_, credential_, std::move(credential));
}

OVNURLSessionTaskDelegate::TaskWillPerformHTTPRedirectionBlock
OVNURLSessionTaskDelegate::taskWillPerformHTTPRedirection() const {
  return lockedCopy(mutex_, taskWillPerformHTTPRedirection_);
}
void OVNURLSessionTaskDelegate::setTaskWillPerformHTTPRedirection(TaskWillPerformHTTPRedirectionBlock block) {
  lockedStore(mutex_, taskWillPerformHTTPRedirection_, std::move(block));
}
OVNURLSessionTaskDelegate::TaskDidReceiveAuthenticationChallengeBlock
OVNURLSessionTaskDelegate::taskDidReceiveAuthenticationChallenge() const {
  return lockedCopy(mutex_, taskDidReceiveAuthenticationChallenge_);
}
void OVNURLSessionTaskDelegate::setTaskDidReceiveAuthenticationChallenge(
    TaskDidReceiveAuthenticationChallengeBlock block) {
  lockedStore(mutex_, taskDidReceiveAuthenticationChallenge_, std::move(block));
}
OVNURLSessionTaskDelegate::TaskNeedNewBodyStreamBlock OVNURLSessionTaskDelegate::taskNeedNewBodyStream() const {
  return lockedCopy(mutex_, taskNeedNewBodyStream_);
}
void OVNURLSessionTaskDelegate::setTaskNeedNewBodyStream(TaskNeedNewBodyStreamBlock block) {
  lockedStore(mutex_, taskNeedNewBodyStream_, std::move(block));
}
OVNURLSessionTaskDelegate::TaskDidCompleteBlock OVNURLSessionTaskDelegate::taskDidComplete() const {
  return lockedCopy(mutex_, taskDidComplete_);
}
void OVNURLSessionTaskDelegate::setTaskDidComplete(TaskDidCompleteBlock block) {
  lockedStore(mutex_, taskDidComplete_, std::move(block));
}

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
