#include "Networking/OVNRequest.h"

#include <utility>

#include "Networking/OVNRequestMetrics.h"
#include "Networking/OVNResponse.h"
#include "Networking/OVNResponseResult.h"
#include "Networking/OVNResponseSerializer.h"
#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "Networking/detail/OVNPendingDeliveries.h"
#include "Platform/Dispatch/OVNOperationQueue.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/Network/OVNURLSession.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Network/OVNURLSessionUploadTask.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/System/OVNImage.h"
#include "Platform/Values/OVNClock.h"
#include "Platform/Values/OVNDictionary.h"

OVN_PROPERTIES(OVNRequest, delegate, session, startTime, endTime, task, request, response, progress)

namespace {

using Result = std::shared_ptr<OVNResponseResult>;

const OVNDispatchQueueRef& orMain(const OVNDispatchQueueRef& queue) { return queue ? queue : OVNDispatchQueue::main(); }

std::shared_ptr<OVNURLSessionTaskDelegate> delegateForTask(const std::shared_ptr<OVNURLSessionTask>& task) {
  // Tested in this order: an upload task is a data task too.
  if (std::dynamic_pointer_cast<OVNURLSessionUploadTask>(task)) return nullptr;
  if (std::dynamic_pointer_cast<OVNURLSessionDataTask>(task)) return OVNURLSessionDataTaskDelegate::initWithTask(task);
  if (std::dynamic_pointer_cast<OVNURLSessionDownloadTask>(task)) return nullptr;
  return OVNURLSessionTaskDelegate::initWithTask(task);
}

// The error every serializer but the image one gives when there is no body.
Result resultForMissingData() {
  auto result = OVNResponseResult::result();
  result->setError(
      OVNError::errorWithDomain(OVNNetworkErrorDomain, 0, "Data could not be serialized, input data was nil."));
  return result;
}

Result resultForError(const std::shared_ptr<OVNError>& error) {
  auto result = OVNResponseResult::result();
  result->setError(error);
  return result;
}

OVNStringEncoding encodingForResponse(OVNStringEncoding given, const std::shared_ptr<OVNHTTPURLResponse>& response) {
  OVNStringEncoding encoding = given;
  if (encoding == OVNInvalidStringEncoding && response && response->textEncodingName()) {
    encoding = OVNStringConvertIANACharSetNameToEncoding(*response->textEncodingName());
  }
  return encoding == OVNInvalidStringEncoding ? OVNISOLatin1StringEncoding : encoding;
}

bool isAcceptedImageType(const std::shared_ptr<OVNHTTPURLResponse>& response) {
  if (!response) return false;
  const OVNValue contentType = response->allHeaderFields()->objectForKey("Content-Type");
  const std::string* text = contentType.string();
  return text && (*text == "image/png" || *text == "image/jpg");
}

}  // namespace

OVNRequest::OVNRequest() : pendingDeliveries_(std::make_shared<ovn::detail::OVNPendingDeliveries>()) {}

OVNRequest::~OVNRequest() = default;

std::shared_ptr<OVNRequest> OVNRequest::initWithSession(std::shared_ptr<OVNURLSession> session,
                                                        std::shared_ptr<OVNURLSessionTask> task) {
  auto request = OVNMake<OVNRequest>();
  request->session_ = std::move(session);
  request->delegate_ = delegateForTask(task);
  std::weak_ptr<OVNRequest> weakRequest = request;
  // The first parked work: the queue is released when the task completes.
  request->park([weakRequest] {
    if (auto self = weakRequest.lock()) self->endTime_.store(OVNClock::absoluteTime(), std::memory_order_release);
  });
  return request;
}

OVNDispatchQueueRef OVNRequest::completionQueue() const {
  std::lock_guard lock(mutex_);
  return orMain(completionQueue_);
}

std::shared_ptr<OVNURLSessionTask> OVNRequest::task() const { return delegate_ ? delegate_->task() : nullptr; }

std::shared_ptr<OVNURLRequest> OVNRequest::request() const {
  auto task = this->task();
  return task ? task->originalRequest() : nullptr;
}

std::shared_ptr<OVNHTTPURLResponse> OVNRequest::response() const {
  auto task = this->task();
  return task ? std::dynamic_pointer_cast<OVNHTTPURLResponse>(task->response()) : nullptr;
}

std::shared_ptr<OVNProgress> OVNRequest::progress() const { return delegate_ ? delegate_->progress() : nullptr; }

void OVNRequest::resume() {
  auto task = this->task();
  if (!task) {
    if (delegate_) delegate_->queue()->setSuspended(false);
    return;
  }
  double unset = 0.0;
  startTime_.compare_exchange_strong(unset, OVNClock::absoluteTime(), std::memory_order_acq_rel);
  task->resume();
}

void OVNRequest::suspend() {
  if (auto task = this->task()) task->suspend();
}

void OVNRequest::cancel() {
  if (auto task = this->task()) task->cancel();
}

void OVNRequest::setProgressHandler(ProgressHandler handler) {
  if (auto dataDelegate = std::dynamic_pointer_cast<OVNURLSessionDataTaskDelegate>(delegate_)) {
    dataDelegate->setDataProgress(std::move(handler));
  }
}

std::shared_ptr<OVNRequest> OVNRequest::keeperWhileParked() {
  // Work attached after the task completed may find the manager's registration already
  // released; holding a request that has a task until its work is delivered keeps that work
  // from being cancelled with the request's delegate when the caller lets go. A request
  // without a task is referred to weakly only.
  return task() ? std::static_pointer_cast<OVNRequest>(self()) : nullptr;
}

void OVNRequest::park(std::function<void()> block) {
  if (delegate_) delegate_->queue()->addOperationWithBlock(std::move(block));
}

void OVNRequest::responseInQueue(OVNDispatchQueueRef queue, CompletionHandler completionHandler) {
  {
    std::lock_guard lock(mutex_);
    completionQueue_ = orMain(queue);
  }
  std::weak_ptr<OVNRequest> weakSelf = std::static_pointer_cast<OVNRequest>(self());
  park([weakSelf, keep = keeperWhileParked(), pending = pendingDeliveries_, handler = std::move(completionHandler)] {
    // The queue is read when the work runs: the last one given wins.
    OVNDispatchQueueRef target = OVNDispatchQueue::main();
    if (auto self = weakSelf.lock()) target = self->completionQueue();
    pending->begin();
    target->async([weakSelf, keep, pending, handler] {
      if (handler) {
        auto self = weakSelf.lock();
        auto delegate = self ? self->delegate() : nullptr;
        handler(self ? self->request() : nullptr, self ? self->response() : nullptr,
                delegate ? delegate->data() : nullptr, delegate ? delegate->error() : nullptr);
      }
      pending->end();
    });
  });
}

void OVNRequest::responseWithSerializer(std::shared_ptr<OVNResponseSerializer> serializer, OVNDispatchQueueRef queue,
                                        ResponseHandler completionHandler) {
  std::weak_ptr<OVNRequest> weakSelf = std::static_pointer_cast<OVNRequest>(self());
  park([weakSelf, keep = keeperWhileParked(), pending = pendingDeliveries_, target = orMain(queue),
        serializer = std::move(serializer), handler = std::move(completionHandler)] {
    pending->begin();
    target->async([weakSelf, keep, pending, serializer, handler] {
      serialize(weakSelf, serializer, handler);
      pending->end();
    });
  });
}

void OVNRequest::serialize(const std::weak_ptr<OVNRequest>& weakRequest,
                           const std::shared_ptr<OVNResponseSerializer>& serializer,
                           const ResponseHandler& completionHandler) {
  auto self = weakRequest.lock();
  auto delegate = self ? self->delegate() : nullptr;
  auto urlRequest = self ? self->request() : nullptr;
  auto response = self ? self->response() : nullptr;
  auto data = delegate ? delegate->data() : nullptr;
  Result result;
  if (serializer && serializer->serializeResponse()) {
    result = serializer->serializeResponse()(urlRequest, response, data, delegate ? delegate->error() : nullptr);
  }
  const double endTime = self ? self->endTime() : 0.0;
  const double completionTime = endTime > 0.0 ? endTime : OVNClock::absoluteTime();
  const double firstBytesTime = delegate ? delegate->initialResponseTime() : 0.0;
  const double initialResponseTime = firstBytesTime > 0.0 ? firstBytesTime : completionTime;
  auto metrics = OVNRequestMetrics::initWithRequestStartTime(self ? self->startTime() : 0.0, initialResponseTime,
                                                             completionTime, OVNClock::absoluteTime());
  auto made = OVNResponse::initWithRequest(std::move(urlRequest), std::move(response), std::move(data), result,
                                           result ? result->error() : nullptr, std::move(metrics));
  if (completionHandler) {
    OVNDispatchQueue::main()->async([completionHandler, made] { completionHandler(made); });
  }
}

void OVNRequest::responseAsData(OVNDispatchQueueRef queue, ResponseHandler completionHandler) {
  responseWithSerializer(dataResponseSerializer(), std::move(queue), std::move(completionHandler));
}

void OVNRequest::responseAsString(OVNDispatchQueueRef queue, OVNStringEncoding encoding,
                                  ResponseHandler completionHandler) {
  responseWithSerializer(stringResponseSerializerWithEncoding(encoding), std::move(queue),
                         std::move(completionHandler));
}

void OVNRequest::responseAsJSON(OVNDispatchQueueRef queue, unsigned options, ResponseHandler completionHandler) {
  responseWithSerializer(JSONResponseSerializerWithOptions(options), std::move(queue), std::move(completionHandler));
}

void OVNRequest::responseAsImage(OVNDispatchQueueRef queue, ResponseHandler completionHandler) {
  responseWithSerializer(imageResponseSerializer(), std::move(queue), std::move(completionHandler));
}

std::shared_ptr<OVNResponseSerializer> OVNRequest::dataResponseSerializer() {
  return OVNResponseSerializer::initWithSerializeResponseBlock([](std::shared_ptr<OVNURLRequest>,
                                                                  std::shared_ptr<OVNHTTPURLResponse>, OVNDataRef data,
                                                                  std::shared_ptr<OVNError> error) {
    if (error) return resultForError(error);
    if (!data) return resultForMissingData();
    auto result = OVNResponseResult::result();
    result->setValue(data);
    return result;
  });
}

std::shared_ptr<OVNResponseSerializer> OVNRequest::stringResponseSerializerWithEncoding(OVNStringEncoding encoding) {
  return OVNResponseSerializer::initWithSerializeResponseBlock(
      [encoding](std::shared_ptr<OVNURLRequest>, std::shared_ptr<OVNHTTPURLResponse> response, OVNDataRef data,
                 std::shared_ptr<OVNError> error) {
        if (error) return resultForError(error);
        if (!data) return resultForMissingData();
        auto result = OVNResponseResult::result();
        if (auto text = OVNStringDecodeBytes(data->view(), encodingForResponse(encoding, response))) {
          result->setValue(std::move(*text));
        }
        return result;
      });
}

std::shared_ptr<OVNResponseSerializer> OVNRequest::JSONResponseSerializerWithOptions(unsigned options) {
  return OVNResponseSerializer::initWithSerializeResponseBlock(
      [options](std::shared_ptr<OVNURLRequest>, std::shared_ptr<OVNHTTPURLResponse>, OVNDataRef data,
                std::shared_ptr<OVNError> error) {
        if (error) return resultForError(error);
        if (!data) return resultForMissingData();
        auto result = OVNResponseResult::result();
        try {
          // A body that does not parse leaves the result empty: no value, no error.
          result->setValue(OVNJSONSerialization::JSONObjectWithData(*data, options));
        } catch (const std::exception&) {
          result->setValue(OVNValue());
        }
        return result;
      });
}

std::shared_ptr<OVNResponseSerializer> OVNRequest::imageResponseSerializer() {
  return OVNResponseSerializer::initWithSerializeResponseBlock([](std::shared_ptr<OVNURLRequest>,
                                                                  std::shared_ptr<OVNHTTPURLResponse> response,
                                                                  OVNDataRef data, std::shared_ptr<OVNError> error) {
    if (error) return resultForError(error);
    auto result = OVNResponseResult::result();
    if (data && isAcceptedImageType(response)) {
      if (auto image = OVNImage::imageWithData(*data)) result->setValue(std::move(image));
    }
    return result;
  });
}

std::string OVNRequest::description() const {
  std::string text;
  auto append = [&text](const std::string& part) {
    if (!text.empty()) text += ' ';
    text += part;
  };
  if (auto urlRequest = request()) {
    append(urlRequest->HTTPMethod());
    if (urlRequest->URL()) append(urlRequest->URL()->absoluteString());
  }
  if (auto reply = response()) append(std::to_string(reply->statusCode()));
  return text;
}
