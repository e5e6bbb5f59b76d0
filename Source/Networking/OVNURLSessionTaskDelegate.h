#pragma once
// OVNURLSessionTaskDelegate: the state of one task of a session manager: its progress, the
// time the first body bytes arrived, and a suspended operation queue on which the task's
// OVNRequest parks its completion work until the task completes. The manager's session
// delegate (OVNURLSessionManagerDelegate) hands it the task's callbacks.
//
// Threads: the callbacks arrive on the session's delegate queue, one at a time. Closures
// and stored values may be set from any thread (they are guarded and copied); a closure
// runs on the delegate queue, without any lock held. Work parked on `queue` runs on that
// queue's threads, one operation at a time, in the order it was added.
//
// Lifetime: destroying the delegate cancels the work still parked and lets the queue run,
// so cancelled operations leave without running their blocks.

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionTaskDelegateProtocol.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNData.h"

class OVNOperationQueue;
class OVNProgress;
class OVNURLCredential;
class OVNURLSessionTask;

class OVN_EXPORT OVNURLSessionTaskDelegate : public OVNObject, public virtual OVNURLSessionTaskDelegateProtocol {
  OVN_CLASS(OVNURLSessionTaskDelegate, OVNObject)

 public:
  using TaskWillPerformHTTPRedirectionBlock = std::function<std::shared_ptr<OVNURLRequest>(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionTask>, std::shared_ptr<OVNHTTPURLResponse>,
      std::shared_ptr<OVNURLRequest>)>;
  //! Gives the disposition; may store a credential through the last argument (initially null).
  using TaskDidReceiveAuthenticationChallengeBlock = std::function<OVNURLSessionAuthChallengeDisposition(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionTask>,
      std::shared_ptr<OVNURLAuthenticationChallenge>, std::shared_ptr<OVNURLCredential>*)>;
  using TaskNeedNewBodyStreamBlock = std::function<std::shared_ptr<OVNInputStream>(std::shared_ptr<OVNURLSession>,
                                                                                   std::shared_ptr<OVNURLSessionTask>)>;
  using TaskDidCompleteBlock = std::function<void(std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionTask>,
                                                  std::shared_ptr<OVNError>)>;

  //! Without a task; the queue and progress are made here already.
  OVNURLSessionTaskDelegate();
  ~OVNURLSessionTaskDelegate() override;

  //! A delegate for `task` whose queue is suspended, runs one operation at a time at the
  //! utility quality of service, and whose progress counts 0 units.
  static std::shared_ptr<OVNURLSessionTaskDelegate> initWithTask(std::shared_ptr<OVNURLSessionTask> task);

  std::shared_ptr<OVNURLSessionTask> task() const;
  void setTask(std::shared_ptr<OVNURLSessionTask> task);
  const std::shared_ptr<OVNOperationQueue>& queue() const { return queue_; }
  const std::shared_ptr<OVNProgress>& progress() const { return progress_; }
  //! The body received; always null here (OVNURLSessionDataTaskDelegate keeps one).
  virtual OVNDataRef data() const;
  //! Stored for callers; the callbacks never set it.
  std::shared_ptr<OVNError> error() const;
  void setError(std::shared_ptr<OVNError> error);
  //! Absolute time at which the first body bytes arrived; 0 until then.
  double initialResponseTime() const { return initialResponseTime_.load(std::memory_order_acquire); }
  void setInitialResponseTime(double time) { initialResponseTime_.store(time, std::memory_order_release); }
  //! Stored for callers; not used by the callbacks.
  std::shared_ptr<OVNURLCredential> credential() const;
  void setCredential(std::shared_ptr<OVNURLCredential> credential);

  TaskWillPerformHTTPRedirectionBlock taskWillPerformHTTPRedirection() const;
  void setTaskWillPerformHTTPRedirection(TaskWillPerformHTTPRedirectionBlock block);
  TaskDidReceiveAuthenticationChallengeBlock taskDidReceiveAuthenticationChallenge() const;
  void setTaskDidReceiveAuthenticationChallenge(TaskDidReceiveAuthenticationChallengeBlock block);
  TaskNeedNewBodyStreamBlock taskNeedNewBodyStream() const;
  void setTaskNeedNewBodyStream(TaskNeedNewBodyStreamBlock block);
  //! When set, completion calls it instead of releasing the parked work.
  TaskDidCompleteBlock taskDidComplete() const;
  void setTaskDidComplete(TaskDidCompleteBlock block);

  // Task callbacks (the completion functions are called only when given).
  //! The closure's request, or `newRequest` without one.
  void URLSessionTaskWillPerformHTTPRedirection(const std::shared_ptr<OVNURLSession>& session,
                                                const std::shared_ptr<OVNURLSessionTask>& task,
                                                const std::shared_ptr<OVNHTTPURLResponse>& response,
                                                const std::shared_ptr<OVNURLRequest>& newRequest,
                                                RedirectCompletion completion) override;
  //! The closure's answer, or default handling without a credential.
  void URLSessionTaskDidReceiveChallenge(const std::shared_ptr<OVNURLSession>& session,
                                         const std::shared_ptr<OVNURLSessionTask>& task,
                                         const std::shared_ptr<OVNURLAuthenticationChallenge>& challenge,
                                         ChallengeCompletion completion) override;
  void URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>& session,
                                       const std::shared_ptr<OVNURLSessionTask>& task,
                                       BodyStreamCompletion completion) override;
  //! Calls `taskDidComplete` when set; otherwise releases the parked work. The error is
  //! not stored.
  void URLSessionTaskDidCompleteWithError(const std::shared_ptr<OVNURLSession>& session,
                                          const std::shared_ptr<OVNURLSessionTask>& task,
                                          const std::shared_ptr<OVNError>& error) override;

 protected:
  // Guards the stored pointers and closures (never held while calling out).
  mutable std::mutex mutex_;

 private:
  std::shared_ptr<OVNURLSessionTask> task_;
  std::shared_ptr<OVNOperationQueue> queue_;
  std::shared_ptr<OVNProgress> progress_;
  std::shared_ptr<OVNError> error_;
  std::atomic<double> initialResponseTime_{0.0};
  std::shared_ptr<OVNURLCredential> credential_;
  TaskWillPerformHTTPRedirectionBlock taskWillPerformHTTPRedirection_;
  TaskDidReceiveAuthenticationChallengeBlock taskDidReceiveAuthenticationChallenge_;
  TaskNeedNewBodyStreamBlock taskNeedNewBodyStream_;
  TaskDidCompleteBlock taskDidComplete_;
};
