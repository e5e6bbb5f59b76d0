#pragma once
// OVNRequest: one task of a session manager's HTTP session, with the per-task delegate
// that collects its reply, and the work callers attach to its completion: raw (request,
// response, body, error) or through a response serializer into an OVNResponse with metrics.
//
// Threads: any thread may make, resume, suspend or cancel a request and attach work.
// Attached work waits on the delegate's suspended queue until the task completes (work
// attached later runs at once), then runs there one piece at a time, in the order it was
// attached; the first piece, attached here, records `endTime`. Raw completion closures run
// on `completionQueue` as it is when their turn comes; serializers run on the queue given
// (the main queue by default) and serialized completion closures always on the main queue.
// Attached work refers to the request weakly: once the request is gone, closures get
// nulls. A request with a task is held by its waiting work until that work is delivered,
// so requests made by OVNURLSessionManager stay alive until their work has run, also work
// attached after the task completed.
//
// A request made for an upload or a download task has no delegate, so no task either: it
// cannot be resumed and its attached work never runs (the manager makes data tasks only).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "Networking/OVNURLSessionTaskDelegate.h"
#include "OvrinCoreExport.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Text/OVNStringEncoding.h"
#include "Platform/Values/OVNData.h"

class OVNURLSession;
class OVNURLSessionTask;
class OVNURLRequest;
class OVNHTTPURLResponse;
class OVNProgress;
class OVNError;
class OVNResponse;
class OVNResponseSerializer;
class OVNURLSessionManagerDelegate;

namespace ovn::detail {
class OVNPendingDeliveries;
}

class OVN_EXPORT OVNRequest : public OVNObject {
  OVN_CLASS(OVNRequest, OVNObject)

 public:
  using CompletionHandler = std::function<void(std::shared_ptr<OVNURLRequest>, std::shared_ptr<OVNHTTPURLResponse>,
                                               OVNDataRef, std::shared_ptr<OVNError>)>;
  using ResponseHandler = std::function<void(std::shared_ptr<OVNResponse>)>;
  //! (bytes in this chunk, total received, total expected or -1 when unknown).
  using ProgressHandler = std::function<void(std::int64_t, std::int64_t, std::int64_t)>;

  OVNRequest();
  ~OVNRequest() override;

  //! A request for `task` of `session`, not yet started, with the delegate of the task's
  //! kind: a data delegate for a data task, none for an upload or download task, a plain
  //! task delegate otherwise.
  static std::shared_ptr<OVNRequest> initWithSession(std::shared_ptr<OVNURLSession> session,
                                                     std::shared_ptr<OVNURLSessionTask> task);

  const std::shared_ptr<OVNURLSessionTaskDelegate>& delegate() const { return delegate_; }
  const std::shared_ptr<OVNURLSession>& session() const { return session_; }
  //! Absolute time of the first resume; 0 before.
  double startTime() const { return startTime_.load(std::memory_order_acquire); }
  //! Absolute time at which the task completed (its parked work was released); 0 before.
  double endTime() const { return endTime_.load(std::memory_order_acquire); }
  //! The queue given to the last responseInQueue, or the main queue.
  OVNDispatchQueueRef completionQueue() const;

  //! The delegate's task (null without a delegate).
  std::shared_ptr<OVNURLSessionTask> task() const;
  //! The request the task was made with.
  std::shared_ptr<OVNURLRequest> request() const;
  //! The task's reply, when it is an HTTP reply.
  std::shared_ptr<OVNHTTPURLResponse> response() const;
  std::shared_ptr<OVNProgress> progress() const;

  //! Starts the task (recording the first start time); without a task, only releases the
  //! delegate's parked work.
  void resume();
  void suspend();
  void cancel();

  //! Reports the body's arrival; ignored unless the delegate is a data delegate.
  void setProgressHandler(ProgressHandler handler);

  //! Attaches raw completion work; `queue` (null: the main queue) becomes completionQueue.
  void responseInQueue(OVNDispatchQueueRef queue, CompletionHandler completionHandler);
  //! Attaches serialized completion work: the serializer runs on `queue` (null: the main
  //! queue), the closure on the main queue.
  void responseWithSerializer(std::shared_ptr<OVNResponseSerializer> serializer, OVNDispatchQueueRef queue,
                              ResponseHandler completionHandler);
  void responseAsData(OVNDispatchQueueRef queue, ResponseHandler completionHandler);
  //! `encoding` 0: the charset the reply declares, else ISO Latin 1.
  void responseAsString(OVNDispatchQueueRef queue, OVNStringEncoding encoding, ResponseHandler completionHandler);
  //! `options`: OVNJSONReadingOptions.
  void responseAsJSON(OVNDispatchQueueRef queue, unsigned options, ResponseHandler completionHandler);
  void responseAsImage(OVNDispatchQueueRef queue, ResponseHandler completionHandler);

  // The built-in serializers. None looks at the status code; each passes an incoming error
  // on as the result's error.
  //! The body as the value; without a body, an OVNNetworkErrorDomain error (code 0).
  static std::shared_ptr<OVNResponseSerializer> dataResponseSerializer();
  //! The body decoded as text (none when it does not decode); without a body, as above.
  static std::shared_ptr<OVNResponseSerializer> stringResponseSerializerWithEncoding(OVNStringEncoding encoding);
  //! The body parsed as JSON (none when it does not parse); without a body, as above.
  static std::shared_ptr<OVNResponseSerializer> JSONResponseSerializerWithOptions(unsigned options);
  //! The body decoded as an image when "Content-Type" is exactly "image/png" or
  //! "image/jpg"; otherwise, or without a body, an empty result.
  static std::shared_ptr<OVNResponseSerializer> imageResponseSerializer();

  //! Method, URL and status code, those present, separated by blanks: "GET http://... 200".
  std::string description() const override;

 private:
  friend class OVNURLSessionManagerDelegate;

  //! Parks `block` on the delegate's queue (nothing without a delegate).
  void park(std::function<void()> block);
  //! What parked work holds until it is delivered: this request when it has a task.
  std::shared_ptr<OVNRequest> keeperWhileParked();
  //! The work of one serialized completion, run on the serializing queue.
  static void serialize(const std::weak_ptr<OVNRequest>& weakRequest,
                        const std::shared_ptr<OVNResponseSerializer>& serializer,
                        const ResponseHandler& completionHandler);

  std::shared_ptr<OVNURLSessionTaskDelegate> delegate_;
  std::shared_ptr<OVNURLSession> session_;
  std::atomic<double> startTime_{0.0};
  std::atomic<double> endTime_{0.0};
  mutable std::mutex mutex_;  // guards completionQueue_
  OVNDispatchQueueRef completionQueue_;
  // Blocks posted by parked work and not yet run; the manager's registration waits for them.
  std::shared_ptr<ovn::detail::OVNPendingDeliveries> pendingDeliveries_;
};
