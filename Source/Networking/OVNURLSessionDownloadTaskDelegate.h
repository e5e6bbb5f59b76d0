#pragma once
// OVNURLSessionDownloadTaskDelegate: the per-task delegate kind for download tasks; nothing
// of its own beyond the task delegate. Threads as OVNURLSessionTaskDelegate.

#include <memory>

#include "Networking/OVNURLSessionTaskDelegate.h"
#include "OvrinCoreExport.h"

class OVN_EXPORT OVNURLSessionDownloadTaskDelegate : public OVNURLSessionTaskDelegate {
  OVN_CLASS(OVNURLSessionDownloadTaskDelegate, OVNURLSessionTaskDelegate)

 public:
  OVNURLSessionDownloadTaskDelegate() = default;
  static std::shared_ptr<OVNURLSessionDownloadTaskDelegate> initWithTask(std::shared_ptr<OVNURLSessionTask> task);
};
