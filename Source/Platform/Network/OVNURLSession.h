#pragma once
// OVNURLSession: runs HTTP tasks (NSURLSession) over libcurl.
//
// Threads. Each session has one I/O thread of its own, which does all network work
// (one libcurl multi handle, connections reused across tasks, HTTP/2 where the server
// offers it) and never waits for a delegate. Every delegate callback runs on the
// session's delegate queue, a serial queue: one at a time, in order; a task's callbacks
// arrive as response, body chunks, then completion. Any thread may make tasks and call
// the session.
//
// Lifetime. A session keeps itself and its delegate alive until it has been invalidated
// and its last task has completed; the delegate's URLSessionDidBecomeInvalidWithError is
// the last callback. A session that is never invalidated lives for the process.
//
// Redirects are followed by the session itself, asking the delegate about each one; more
// than 16 in a row fail with OVNURLErrorHTTPTooManyRedirects. Cookies, proxies set in
// code, authentication challenges and caching are not handled here (see docs/NETWORKING.md).

#include <functional>
#include <memory>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNObject.h"

class OVNURL;
class OVNURLRequest;
class OVNURLResponse;
class OVNData;
class OVNError;
class OVNURLSessionConfiguration;
class OVNURLSessionDelegateProtocol;
class OVNURLSessionTask;
class OVNURLSessionDataTask;
class OVNURLSessionUploadTask;
class OVNURLSessionDownloadTask;

namespace ovn::detail {
class OVNURLSessionCore;
}

class OVN_EXPORT OVNURLSession : public OVNObject {
  OVN_CLASS_NAMED(OVNURLSession, OVNObject, "NSURLSession")

 public:
  using DataCompletion =
      std::function<void(std::shared_ptr<const OVNData>, std::shared_ptr<OVNURLResponse>, std::shared_ptr<OVNError>)>;
  //! Redirects a session follows in a row before failing.
  static constexpr int maximumRedirects = 16;

  explicit OVNURLSession(std::shared_ptr<ovn::detail::OVNURLSessionCore> core);
  ~OVNURLSession() override;

  //! A session without delegate (tasks report through completion functions only).
  static std::shared_ptr<OVNURLSession> sessionWithConfiguration(
      const std::shared_ptr<OVNURLSessionConfiguration>& configuration);
  //! `delegate` may be null. `delegateQueue` must be serial (the main queue, or one made
  //! with OVNDispatchQueue::createSerial); null or a concurrent queue makes a serial queue
  //! for the session. The configuration is copied.
  static std::shared_ptr<OVNURLSession> sessionWithConfiguration(
      const std::shared_ptr<OVNURLSessionConfiguration>& configuration,
      std::shared_ptr<OVNURLSessionDelegateProtocol> delegate, OVNDispatchQueueRef delegateQueue);

  //! A copy of the session's configuration.
  std::shared_ptr<OVNURLSessionConfiguration> configuration() const;
  //! Null once the session has become invalid.
  std::shared_ptr<OVNURLSessionDelegateProtocol> delegate() const;
  const OVNDispatchQueueRef& delegateQueue() const;

  // New tasks start suspended: call resume(). Making a task on an invalidated session is a
  // programming error (OVNException, OVNGenericException).
  std::shared_ptr<OVNURLSessionDataTask> dataTaskWithRequest(const std::shared_ptr<OVNURLRequest>& request);
  std::shared_ptr<OVNURLSessionDataTask> dataTaskWithURL(const std::shared_ptr<OVNURL>& url);
  //! The completion gets the whole body, the response and the error instead of the data
  //! delegate's callbacks, on the delegate queue.
  std::shared_ptr<OVNURLSessionDataTask> dataTaskWithRequest(const std::shared_ptr<OVNURLRequest>& request,
                                                             DataCompletion completion);
  //! Sends `body` instead of the request's own body.
  std::shared_ptr<OVNURLSessionUploadTask> uploadTaskWithRequest(const std::shared_ptr<OVNURLRequest>& request,
                                                                 std::shared_ptr<const OVNData> body);
  std::shared_ptr<OVNURLSessionDownloadTask> downloadTaskWithRequest(const std::shared_ptr<OVNURLRequest>& request);

  //! Tasks made and not yet completed.
  std::vector<std::shared_ptr<OVNURLSessionTask>> allTasks() const;

  //! Cancels every task and makes no more; the delegate hears of the session becoming
  //! invalid after the last completion. Returns at once.
  void invalidateAndCancel();
  //! Lets running tasks finish, makes no more, then becomes invalid. Returns at once.
  void finishTasksAndInvalidate();

 private:
  std::shared_ptr<ovn::detail::OVNURLSessionCore> core_;
};

using OVNURLSessionRef = std::shared_ptr<OVNURLSession>;
