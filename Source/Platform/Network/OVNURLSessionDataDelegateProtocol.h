#pragma once
// Callbacks about data tasks (NSURLSessionDataDelegate). Threading and defaults: see
// OVNURLSessionDelegateProtocol.h.

#include <cstdint>
#include <functional>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionTaskDelegateProtocol.h"

class OVNURLSessionDataTask;
class OVNURLSessionDownloadTask;
class OVNURLResponse;
class OVNCachedURLResponse;
class OVNData;

//! How a delegate answers a response: cancel (the task completes with
//! OVNURLErrorCancelled) or allow. Turning a data task into a download or a stream is not
//! offered: those answers count as allow.
using OVNURLSessionResponseDisposition = std::int64_t;
inline constexpr OVNURLSessionResponseDisposition OVNURLSessionResponseCancel = 0;
inline constexpr OVNURLSessionResponseDisposition OVNURLSessionResponseAllow = 1;
inline constexpr OVNURLSessionResponseDisposition OVNURLSessionResponseBecomeDownload = 2;
inline constexpr OVNURLSessionResponseDisposition OVNURLSessionResponseBecomeStream = 3;

class OVN_EXPORT OVNURLSessionDataDelegateProtocol : public virtual OVNURLSessionTaskDelegateProtocol {
 public:
  using ResponseCompletion = std::function<void(OVNURLSessionResponseDisposition)>;
  using CacheCompletion = std::function<void(std::shared_ptr<OVNCachedURLResponse>)>;

  //! The reply's status and headers; no body chunk arrives before the completion is
  //! called. Default: completion(OVNURLSessionResponseAllow).
  virtual void URLSessionDataTaskDidReceiveResponse(const std::shared_ptr<OVNURLSession>& session,
                                                    const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                                    const std::shared_ptr<OVNURLResponse>& response,
                                                    ResponseCompletion completion);
  virtual void URLSessionDataTaskDidBecomeDownloadTask(const std::shared_ptr<OVNURLSession>& session,
                                                       const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                                       const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask) {
  }
  //! The next chunk of the body, decoded (gzip and the like are undone).
  virtual void URLSessionDataTaskDidReceiveData(const std::shared_ptr<OVNURLSession>& session,
                                                const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                                const std::shared_ptr<const OVNData>& data) {}
  //! Asked before a response cache stores a reply: completion(the response to store, or
  //! null to store nothing). Default: completion(proposedResponse).
  virtual void URLSessionDataTaskWillCacheResponse(const std::shared_ptr<OVNURLSession>& session,
                                                   const std::shared_ptr<OVNURLSessionDataTask>& dataTask,
                                                   const std::shared_ptr<OVNCachedURLResponse>& proposedResponse,
                                                   CacheCompletion completion);
};
