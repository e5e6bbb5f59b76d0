#pragma once
// OVNURLSessionDataTask: a task whose reply body reaches the delegate in chunks, or a
// completion handler at once (NSURLSessionDataTask). Threading as OVNURLSessionTask.

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionTask.h"

class OVN_EXPORT OVNURLSessionDataTask : public OVNURLSessionTask {
  OVN_CLASS_NAMED(OVNURLSessionDataTask, OVNURLSessionTask, "NSURLSessionDataTask")

 public:
  OVNURLSessionDataTask() = default;
};

using OVNURLSessionDataTaskRef = std::shared_ptr<OVNURLSessionDataTask>;
