#include "Networking/OVNURLSessionDataTaskDelegate.h"

#include "Networking/detail/OVNLockedCopy.h"
#include "Platform/Dispatch/OVNProgress.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNURLResponse.h"
#include "Platform/Network/OVNURLSessionDataTask.h"
#include "Platform/Network/OVNURLSessionDownloadTask.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNClock.h"

using ovn::detail::lockedCopy;
using ovn::detail::lockedStore;

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

OVNURLSessionDataTaskDelegate::DataProgressBlock OVNURLSessionDataTaskDelegate::dataProgress() const {
  return lockedCopy(mutex_, dataProgress_);
}
void OVNURLSessionDataTaskDelegate::setDataProgress(DataProgressBlock block) {
  lockedStore(mutex_, dataProgress_, std::move(block));
}
OVNURLSessionDataTaskDelegate::DataStreamBlock OVNURLSessionDataTaskDelegate::dataStream() const {
  return lockedCopy(mutex_, dataStream_);
}
void OVNURLSessionDataTaskDelegate::setDataStream(DataStreamBlock block) {
  lockedStore(mutex_, dataStream_, std::move(block));
}
OVNURLSessionDataTaskDelegate::DataTaskDidReceiveResponseBlock
OVNURLSessionDataTaskDelegate::dataTaskDidReceiveResponse() const {
  return lockedCopy(mutex_, dataTaskDidReceiveResponse_);
}
void OVNURLSessionDataTaskDelegate::setDataTaskDidReceiveResponse(DataTaskDidReceiveResponseBlock block) {
  lockedStore(mutex_, dataTaskDidReceiveResponse_, std::move(block));
}
OVNURLSessionDataTaskDelegate::DataTaskDidBecomeDownloadTaskBlock
OVNURLSessionDataTaskDelegate::dataTaskDidBecomeDownloadTask() const {
  return lockedCopy(mutex_, dataTaskDidBecomeDownloadTask_);
}
void OVNURLSessionDataTaskDelegate::setDataTaskDidBecomeDownloadTask(DataTaskDidBecomeDownloadTaskBlock block) {
  lockedStore(mutex_, dataTaskDidBecomeDownloadTask_, std::move(block));
}
OVNURLSessionDataTaskDelegate::DataTaskDidReceiveDataBlock OVNURLSessionDataTaskDelegate::dataTaskDidReceiveData()
    const {
  return lockedCopy(mutex_, dataTaskDidReceiveData_);
}
void OVNURLSessionDataTaskDelegate::setDataTaskDidReceiveData(DataTaskDidReceiveDataBlock block) {
  lockedStore(mutex_, dataTaskDidReceiveData_, std::move(block));
}
OVNURLSessionDataTaskDelegate::DataTaskWillCacheResponseBlock OVNURLSessionDataTaskDelegate::dataTaskWillCacheResponse()
    const {
  return lockedCopy(mutex_, dataTaskWillCacheResponse_);
}
void OVNURLSessionDataTaskDelegate::setDataTaskWillCacheResponse(DataTaskWillCacheResponseBlock block) {
  lockedStore(mutex_, dataTaskWillCacheResponse_, std::move(block));
}

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
