#include "Platform/Network/OVNURLSessionTask.h"

#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLResponse.h"
#include "Platform/Network/detail/OVNURLSessionCore.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNURLSessionTask, taskIdentifier, originalRequest, currentRequest, response, state, error,
               countOfBytesReceived, countOfBytesSent, countOfBytesExpectedToSend, countOfBytesExpectedToReceive,
               (taskDescription, setTaskDescription))

OVNURLSessionTask::~OVNURLSessionTask() = default;

std::shared_ptr<OVNURLRequest> OVNURLSessionTask::originalRequest() const {
  std::lock_guard lock(mutex_);
  return originalRequest_;
}

std::shared_ptr<OVNURLRequest> OVNURLSessionTask::currentRequest() const {
  std::lock_guard lock(mutex_);
  return currentRequest_;
}

std::shared_ptr<OVNURLResponse> OVNURLSessionTask::response() const {
  std::lock_guard lock(mutex_);
  return response_;
}

std::shared_ptr<OVNError> OVNURLSessionTask::error() const {
  std::lock_guard lock(mutex_);
  return error_;
}

std::string OVNURLSessionTask::taskDescription() const {
  std::lock_guard lock(mutex_);
  return taskDescription_;
}

void OVNURLSessionTask::setTaskDescription(std::string description) {
  std::lock_guard lock(mutex_);
  taskDescription_ = std::move(description);
}

void OVNURLSessionTask::resume() {
  bool first = false;
  {
    std::lock_guard lock(mutex_);
    if (state_.load() != OVNURLSessionTaskStateSuspended) return;
    state_.store(OVNURLSessionTaskStateRunning);
    first = !std::exchange(started_, true);
  }
  if (auto core = core_.lock()) {
    if (first) {
      core->startTask(identifier_);
    } else {
      core->setTaskPaused(identifier_, false);
    }
  }
}

void OVNURLSessionTask::suspend() {
  {
    std::lock_guard lock(mutex_);
    if (state_.load() != OVNURLSessionTaskStateRunning) return;
    state_.store(OVNURLSessionTaskStateSuspended);
  }
  if (auto core = core_.lock()) core->setTaskPaused(identifier_, true);
}

void OVNURLSessionTask::cancel() {
  {
    std::lock_guard lock(mutex_);
    const OVNURLSessionTaskState state = state_.load();
    if (state != OVNURLSessionTaskStateRunning && state != OVNURLSessionTaskStateSuspended) return;
    state_.store(OVNURLSessionTaskStateCanceling);
  }
  if (auto core = core_.lock()) core->cancelTask(identifier_);
}

std::string OVNURLSessionTask::description() const {
  auto request = currentRequest();
  return OVNFormat("<%@: %p>{ taskIdentifier: %llu, state: %lld, URL: %@ }", className(),
                   static_cast<const void*>(this), static_cast<unsigned long long>(identifier_),
                   static_cast<long long>(state()),
                   request && request->URL() ? OVNValue(request->URL()->absoluteString()) : OVNValue());
}
