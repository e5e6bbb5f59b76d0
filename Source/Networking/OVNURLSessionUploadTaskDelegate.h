#pragma once
// OVNURLSessionUploadTaskDelegate: the per-task delegate kind for upload tasks; the session
// manager's delegate passes it the body-sent callbacks. Nothing of its own beyond its data
// task delegate. Threads as OVNURLSessionDataTaskDelegate.

#include <memory>

#include "Networking/OVNURLSessionDataTaskDelegate.h"
#include "OvrinCoreExport.h"

class OVN_EXPORT OVNURLSessionUploadTaskDelegate : public OVNURLSessionDataTaskDelegate {
  OVN_CLASS(OVNURLSessionUploadTaskDelegate, OVNURLSessionDataTaskDelegate)

 public:
  OVNURLSessionUploadTaskDelegate() = default;
  static std::shared_ptr<OVNURLSessionUploadTaskDelegate> initWithTask(std::shared_ptr<OVNURLSessionTask> task);
};
