#pragma once
// OVNURLSessionDownloadTask: a task whose reply body is written to a temporary file
// (NSURLSessionDownloadTask). The delegate gets the file's URL once the body is complete;
// the file is removed when that callback returns, so move or read it there. Threading as
// OVNURLSessionTask.

#include "OvrinCoreExport.h"
#include "Platform/Network/OVNURLSessionTask.h"

class OVN_EXPORT OVNURLSessionDownloadTask : public OVNURLSessionTask {
  OVN_CLASS_NAMED(OVNURLSessionDownloadTask, OVNURLSessionTask, "NSURLSessionDownloadTask")

 public:
  OVNURLSessionDownloadTask() = default;
};

using OVNURLSessionDownloadTaskRef = std::shared_ptr<OVNURLSessionDownloadTask>;
