#pragma once
// OVNURLSessionDataTaskDelegate: the per-task delegate of a data task: it keeps the body
// (or streams it to `dataStream`), counts the bytes, reports progress and answers the data
// callbacks the session manager's delegate passes on.
//
// Threads as OVNURLSessionTaskDelegate: callbacks on the session's delegate queue, closures
// called there without a lock; `data()` may be read from any thread (callers read it once
// the task has completed, when it no longer changes).

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "Networking/OVNURLSessionTaskDelegate.h"
#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionDataDelegateProtocol.h"

class OVNURLSessionDataTask;

class OVN_EXPORT OVNURLSessionDataTaskDelegate : public OVNURLSessionTaskDelegate,
                                                 public virtual OVNURLSessionDataDelegateProtocol {
  OVN_CLASS(OVNURLSessionDataTaskDelegate, OVNURLSessionTaskDelegate)

 public:
  //! (bytes in this chunk, total bytes received, total expected or -1 when unknown).
  using DataProgressBlock = std::function<void(std::int64_t, std::int64_t, std::int64_t)>;
  //! Receives each body chunk instead of the buffer.
  using DataStreamBlock = std::function<void(OVNDataRef)>;
  using DataTaskDidReceiveResponseBlock = std::function<OVNURLSessionResponseDisposition(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDataTask>, std::shared_ptr<OVNURLResponse>)>;
  using DataTaskDidBecomeDownloadTaskBlock =
      std::function<void(std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDataTask>,
                         std::shared_ptr<OVNURLSessionDownloadTask>)>;
  using DataTaskDidReceiveDataBlock =
      std::function<void(std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDataTask>, OVNDataRef)>;
  using DataTaskWillCacheResponseBlock = std::function<std::shared_ptr<OVNCachedURLResponse>(
      std::shared_ptr<OVNURLSession>, std::shared_ptr<OVNURLSessionDataTask>, std::shared_ptr<OVNCachedURLResponse>)>;

  OVNURLSessionDataTaskDelegate() = default;
  //! The base's set-up, an empty buffer and both counts at 0.
  static std::shared_ptr<OVNURLSessionDataTaskDelegate> initWithTask(std::shared_ptr<OVNURLSessionTask> task);

  //! The buffer; null while `dataStream` is set (the body then went to the stream).
  OVNDataRef data() const override;
  //! The bytes kept so far (empty when streamed).
  OVNDataRef mutableData() const;
  std::int64_t totalBytesReceived() const { return totalBytesReceived_.load(std::memory_order_acquire); }
  void setTotalBytesReceived(std::int64_t count) { totalBytesReceived_.store(count, std::memory_order_release); }
  //! Set from the response when this delegate hears of it (the session manager's delegate
  //! answers responses itself, so it stays 0 for the manager's requests).
  std::int64_t expectedContentLength() const { return expectedContentLength_.load(std::memory_order_acquire); }
  void setExpectedContentLength(std::int64_t length) {
    expectedContentLength_.store(length, std::memory_order_release);
  }

  DataProgressBlock dataProgress() const;
  void setDataProgress(DataProgressBlock block);
  DataStreamBlock dataStream() const;
  void setDataStream(DataStreamBlock block);
  DataTaskDidReceiveResponseBlock dataTaskDidReceiveResponse() const;
  void setDataTaskDidReceiveResponse(DataTaskDidReceiveResponseBlock block);
  DataTaskDidBecomeDownloadTaskBlock dataTaskDidBecomeDownloadTask() const;
  void setDataTaskDidBecomeDownloadTask(DataTaskDidBecomeDownloadTaskBlock block);
  //! When set, it alone hears of each chunk: nothing is kept, counted or reported.
  DataTaskDidReceiveDataBlock dataTaskDidReceiveData() const;
  void setDataTaskDidReceiveData(DataTaskDidReceiveDataBlock block);
  DataTaskWillCacheResponseBlock dataTaskWillCacheResponse() const;
  void setDataTaskWillCacheResponse(DataTaskWillCacheResponseBlock block);

  // Data callbacks (the completion functions are called only when given).
  void URLSessionDataTaskDidReceiveResponse(const std::shared_ptr<OVNURLSession>& session,
                                            const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                            const std::shared_ptr<OVNURLResponse>& response,
                                            ResponseCompletion completion) override;
  void URLSessionDataTaskDidBecomeDownloadTask(const std::shared_ptr<OVNURLSession>& session,
                                               const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                               const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask) override;
  //! Marks the first arrival, then hands the chunk to `dataTaskDidReceiveData` alone, or
  //! keeps (or streams) it, counts it and reports progress.
  void URLSessionDataTaskDidReceiveData(const std::shared_ptr<OVNURLSession>& session,
                                        const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                        const std::shared_ptr<const OVNData>& data) override;
  void URLSessionDataTaskWillCacheResponse(const std::shared_ptr<OVNURLSession>& session,
                                           const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                           const std::shared_ptr<OVNCachedURLResponse>& proposedResponse,
                                           CacheCompletion completion) override;

 private:
  //! Keeps or streams one chunk and reports it.
  void receiveChunk(const std::shared_ptr<const OVNData>& chunk);

  std::vector<std::uint8_t> mutableData_;  // guarded by mutex_
  mutable OVNDataRef snapshot_;            // mutableData_ as last handed out; guarded by mutex_
  std::atomic<std::int64_t> totalBytesReceived_{0};
  std::atomic<std::int64_t> expectedContentLength_{0};
  DataProgressBlock dataProgress_;
  DataStreamBlock dataStream_;
  DataTaskDidReceiveResponseBlock dataTaskDidReceiveResponse_;
  DataTaskDidBecomeDownloadTaskBlock dataTaskDidBecomeDownloadTask_;
  DataTaskDidReceiveDataBlock dataTaskDidReceiveData_;
  DataTaskWillCacheResponseBlock dataTaskWillCacheResponse_;
};
