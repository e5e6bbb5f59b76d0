#include "Networking/OVNURLSessionDownloadTaskDelegate.h"

#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionDownloadTaskDelegate)

std::shared_ptr<OVNURLSessionDownloadTaskDelegate> OVNURLSessionDownloadTaskDelegate::initWithTask(
    std::shared_ptr<OVNURLSessionTask> task) {
  auto delegate = OVNMake<OVNURLSessionDownloadTaskDelegate>();
  delegate->setTask(std::move(task));
  return delegate;
}
