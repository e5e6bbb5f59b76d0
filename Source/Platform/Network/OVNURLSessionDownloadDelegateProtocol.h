#pragma once
// Callbacks about download tasks (NSURLSessionDownloadDelegate). Threading: see
// OVNURLSessionDelegateProtocol.h.

#include <cstdint>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionTaskDelegateProtocol.h"

class OVNURLSessionDownloadTask;
class OVNURL;

class OVN_EXPORT OVNURLSessionDownloadDelegateProtocol : public virtual OVNURLSessionTaskDelegateProtocol {
 public:
  //! The body is complete in the temporary file at `location`, which is removed when this
  //! returns. Called before the task's completion.
  virtual void URLSessionDownloadTaskDidFinishDownloadingToURL(
      const std::shared_ptr<OVNURLSession>& session, const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask,
      const std::shared_ptr<OVNURL>& location) {}
  virtual void URLSessionDownloadTaskDidWriteData(const std::shared_ptr<OVNURLSession>& session,
                                                  const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask,
                                                  std::int64_t bytesWritten, std::int64_t totalBytesWritten,
                                                  std::int64_t totalBytesExpectedToWrite) {}
  //! Never called: downloads are not resumed from a partial file.
  virtual void URLSessionDownloadTaskDidResumeAtOffset(const std::shared_ptr<OVNURLSession>& session,
                                                       const std::shared_ptr<OVNURLSessionDownloadTask>& downloadTask,
                                                       std::int64_t fileOffset, std::int64_t expectedTotalBytes) {}
};
