#pragma once
// OVNURLSessionUploadTask: a data task whose body was given when it was made
// (NSURLSessionUploadTask); the delegate hears of the bytes sent. Threading as
// OVNURLSessionTask.

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionDataTask.h"

class OVN_EXPORT OVNURLSessionUploadTask : public OVNURLSessionDataTask {
  OVN_CLASS_NAMED(OVNURLSessionUploadTask, OVNURLSessionDataTask, "NSURLSessionUploadTask")

 public:
  OVNURLSessionUploadTask() = default;
};

using OVNURLSessionUploadTaskRef = std::shared_ptr<OVNURLSessionUploadTask>;
