#pragma once
// OVNURLSessionTask: one transfer of an HTTP session (NSURLSessionTask), made by
// OVNURLSession and started with resume(). Its kind is its class: OVNURLSessionDataTask,
// OVNURLSessionUploadTask (a data task whose body was given at creation) or
// OVNURLSessionDownloadTask.
//
// Any thread may read a task and call resume, suspend and cancel. The values change on the
// session's threads; read them for display, and take the delegate callbacks as the truth.
// A task completes exactly once: its session delivers one completion, with an error of
// OVNURLErrorDomain or none, whatever happens (cancelled tasks complete with
// OVNURLErrorCancelled).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURLRequest;
class OVNURLResponse;
class OVNError;
class OVNData;

namespace ovn::detail {
class OVNURLSessionCore;
class OVNTaskEvents;
}  // namespace ovn::detail

using OVNURLSessionTaskState = std::int64_t;
inline constexpr OVNURLSessionTaskState OVNURLSessionTaskStateRunning = 0;
inline constexpr OVNURLSessionTaskState OVNURLSessionTaskStateSuspended = 1;
inline constexpr OVNURLSessionTaskState OVNURLSessionTaskStateCanceling = 2;
inline constexpr OVNURLSessionTaskState OVNURLSessionTaskStateCompleted = 3;

//! The expected byte count when it is not known.
inline constexpr std::int64_t OVNURLSessionTransferSizeUnknown = -1;

class OVN_EXPORT OVNURLSessionTask : public OVNObject {
  OVN_CLASS_NAMED(OVNURLSessionTask, OVNObject, "NSURLSessionTask")

 public:
  OVNURLSessionTask() = default;
  ~OVNURLSessionTask() override;

  //! Unique within its session.
  std::uint64_t taskIdentifier() const { return identifier_; }
  //! The request the task was made with (an immutable copy).
  std::shared_ptr<OVNURLRequest> originalRequest() const;
  //! The request being sent: differs from the original after a redirect.
  std::shared_ptr<OVNURLRequest> currentRequest() const;
  //! The last reply received (null before one arrived).
  std::shared_ptr<OVNURLResponse> response() const;
  OVNURLSessionTaskState state() const { return state_.load(std::memory_order_acquire); }
  //! The error the task completed with (null while running, or on success).
  std::shared_ptr<OVNError> error() const;
  std::int64_t countOfBytesReceived() const { return bytesReceived_.load(std::memory_order_relaxed); }
  std::int64_t countOfBytesSent() const { return bytesSent_.load(std::memory_order_relaxed); }
  std::int64_t countOfBytesExpectedToSend() const { return bytesExpectedToSend_.load(std::memory_order_relaxed); }
  //! OVNURLSessionTransferSizeUnknown until a reply states its length.
  std::int64_t countOfBytesExpectedToReceive() const { return bytesExpectedToReceive_.load(std::memory_order_relaxed); }
  std::string taskDescription() const;
  void setTaskDescription(std::string description);

  //! Starts a new task, or continues a suspended one; no effect otherwise.
  void resume();
  //! Holds the transfer (no data is read) until resume(); the request timeout does not
  //! run meanwhile. No effect unless running.
  void suspend();
  //! Stops the transfer at once (it leaves the session's transfers before this returns to
  //! the I/O loop) and completes the task with OVNURLErrorCancelled. Works before resume
  //! too; no effect once completed.
  void cancel();

  std::string description() const override;

 private:
  friend class ovn::detail::OVNURLSessionCore;
  friend class ovn::detail::OVNTaskEvents;

  mutable std::mutex mutex_;
  std::weak_ptr<ovn::detail::OVNURLSessionCore> core_;
  std::uint64_t identifier_ = 0;
  std::shared_ptr<OVNURLRequest> originalRequest_;
  std::shared_ptr<OVNURLRequest> currentRequest_;
  std::shared_ptr<OVNURLResponse> response_;
  std::shared_ptr<OVNError> error_;
  std::string taskDescription_;
  bool started_ = false;
  std::atomic<OVNURLSessionTaskState> state_{OVNURLSessionTaskStateSuspended};
  std::atomic<std::int64_t> bytesReceived_{0};
  std::atomic<std::int64_t> bytesSent_{0};
  std::atomic<std::int64_t> bytesExpectedToSend_{0};
  std::atomic<std::int64_t> bytesExpectedToReceive_{OVNURLSessionTransferSizeUnknown};
  // Delivery state, owned by the session's delegate side.
  std::shared_ptr<ovn::detail::OVNTaskEvents> events_;
};

using OVNURLSessionTaskRef = std::shared_ptr<OVNURLSessionTask>;
