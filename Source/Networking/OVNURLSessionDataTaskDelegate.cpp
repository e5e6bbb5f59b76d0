#include "Networking/OVNURLSessionDataTaskDelegate.h"

#include "Networking/detail/OVNLockedCopy.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNURLResponse.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNClock.h"

OVN_PROPERTIES(OVNURLSessionDataTaskDelegate, mutableData, (totalBytesReceived, setTotalBytesReceived),
               (expectedContentLength, setExpectedContentLength), (dataProgress, setDataProgress),
               (dataStream, setDataStream), (dataTaskDidReceiveResponse, setDataTaskDidReceiveResponse),
               (dataTaskDidBecomeDownloadTask, setDataTaskDidBecomeDownloadTask),
               (dataTaskDidReceiveData, setDataTaskDidReceiveData),
               (dataTaskWillCacheResponse, setDataTaskWillCacheResponse))

std::shared_ptr<OVNURLSessionDataTaskDelegate> OVNURLSessionDataTaskDelegate::initWithTask(
    std::shared_ptr<OVNURLSessionTask> task) {
  auto delegate = OVNMake<OVNURLSessionDataTaskDelegate>();
  delegate->setTask(std::move(task));
  return delegate;
}

OVNDataRef OVNURLSessionDataTaskDelegate::data() const {
  if (dataStream()) return nullptr;
  return mutableData();
}

OVNDataRef OVNURLSessionDataTaskDelegate::mutableData() const {
  std::lock_guard lock(mutex_);
  // One copy per change, however often the body is asked for once complete.
  if (!snapshot_) snapshot_ = OVNData::make(mutableData_);
  return snapshot_;
}
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataProgressBlock, dataProgress, setDataProgress, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataStreamBlock, dataStream, setDataStream, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataTaskDidReceiveResponseBlock, dataTaskDidReceiveResponse,
                     setDataTaskDidReceiveResponse, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataTaskDidBecomeDownloadTaskBlock, dataTaskDidBecomeDownloadTask,
                     setDataTaskDidBecomeDownloadTask, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataTaskDidReceiveDataBlock, dataTaskDidReceiveData,
                     setDataTaskDidReceiveData, mutex_)
OVN_LOCKED_ACCESSORS(OVNURLSessionDataTaskDelegate, DataTaskWillCacheResponseBlock, dataTaskWillCacheResponse,
                     setDataTaskWillCacheResponse, mutex_)

void OVNURLSessionDataTaskDelegate::URLSessionDataTaskDidReceiveResponse(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNURLResponse>& response, ResponseCompletion completion) {
  setExpectedContentLength(response ? response->expectedContentLength() : OVNURLResponseUnknownLength);
  auto block = dataTaskDidReceiveResponse();
  const auto disposition = block ? block(session, dataTask, response) : OVNURLSessionResponseAllow;
  if (completion) completion(disposition);
}

void OVNURLSessionDataTaskDelegate::URLSessionDataTaskDidBecomeDownloadTask(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask) {
  if (auto block = dataTaskDidBecomeDownloadTask()) block(session, dataTask, downloadTask);
}

void OVNURLSessionDataTaskDelegate::URLSessionDataTaskDidReceiveData(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<const OVNData>& data) {
  if (initialResponseTime() == 0.0) setInitialResponseTime(OVNClock::absoluteTime());
  if (auto block = dataTaskDidReceiveData()) {
    block(session, dataTask, data);
    return;
  }
  const auto length = data ? static_cast<std::int64_t>(data->length()) : 0;
  receiveChunk(data);
  const std::int64_t received = totalBytesReceived_.fetch_add(length, std::memory_order_acq_rel) + length;
  auto response = dataTask ? dataTask->response() : nullptr;
  std::int64_t expected = response ? response->expectedContentLength() : OVNURLSessionTransferSizeUnknown;
  // A declared length of 0 counts as unknown: bytes did arrive.
  if (expected == 0) expected = OVNURLSessionTransferSizeUnknown;
  progress()->setTotalUnitCount(expected);
  progress()->setCompletedUnitCount(received);
  if (auto block = dataProgress()) block(length, received, expected);
}

void OVNURLSessionDataTaskDelegate::receiveChunk(const std::shared_ptr<const OVNData>& chunk) {
  if (auto stream = dataStream()) {
    stream(chunk);
    return;
  }
  if (!chunk) return;
  std::lock_guard lock(mutex_);
  mutableData_.insert(mutableData_.end(), chunk->bytes().begin(), chunk->bytes().end());
  snapshot_.reset();
}

void OVNURLSessionDataTaskDelegate::URLSessionDataTaskWillCacheResponse(
    const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
    const std::shared_ptr<OVNCachedURLResponse>& proposedResponse, CacheCompletion completion) {
  auto block = dataTaskWillCacheResponse();
  auto cached = block ? block(session, dataTask, proposedResponse) : proposedResponse;
  if (completion) completion(std::move(cached));
}
