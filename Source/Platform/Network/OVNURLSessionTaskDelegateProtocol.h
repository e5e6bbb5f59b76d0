#pragma once
// Callbacks about any task of a session (NSURLSessionTaskDelegate). Threading and defaults:
// see OVNURLSessionDelegateProtocol.h.

#include <cstdint>
#include <functional>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionDelegateProtocol.h"

class OVNURLSessionTask;
class OVNHTTPURLResponse;
class OVNURLRequest;
class OVNInputStream;

class OVN_EXPORT OVNURLSessionTaskDelegateProtocol : public virtual OVNURLSessionDelegateProtocol {
 public:
  using RedirectCompletion = std::function<void(std::shared_ptr<OVNURLRequest>)>;
  using BodyStreamCompletion = std::function<void(std::shared_ptr<OVNInputStream>)>;

  //! The server redirected the task to `newRequest`. completion(request) follows it (the
  //! request may be changed); completion(null) refuses, and the redirect reply itself
  //! then completes the task. Default: follow.
  virtual void URLSessionTaskWillPerformHTTPRedirection(const std::shared_ptr<OVNURLSession>& session,
                                                        const std::shared_ptr<OVNURLSessionTask>& task,
                                                        const std::shared_ptr<OVNHTTPURLResponse>& response,
                                                        const std::shared_ptr<OVNURLRequest>& newRequest,
                                                        RedirectCompletion completion);
  //! Default: completion(OVNURLSessionAuthChallengePerformDefaultHandling, null).
  virtual void URLSessionTaskDidReceiveChallenge(const std::shared_ptr<OVNURLSession>& session,
                                                 const std::shared_ptr<OVNURLSessionTask>& task,
                                                 const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
                                                 ChallengeCompletion completion);
  //! Default: completion(null).
  virtual void URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>& session,
                                               const std::shared_ptr<OVNURLSessionTask>& task,
                                               BodyStreamCompletion completion);
  virtual void URLSessionTaskDidSendBodyData(const std::shared_ptr<OVNURLSession>& session,
                                             const std::shared_ptr<OVNURLSessionTask>& task, std::int64_t bytesSent,
                                             std::int64_t totalBytesSent, std::int64_t totalBytesExpectedToSend) {}
  //! The last callback of a task; `error` is null on success (whatever the status code).
  virtual void URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>& session,
                                                  const std::shared_ptr<OVNURLSessionTask>& task,
                                                  const std::shared_ptr<OVNError>& error) {}
};
