#include "Networking/OVNURLSessionUploadTaskDelegate.h"

#include "Platform/Network/OVNURLSessionTask.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionUploadTaskDelegate)

std::shared_ptr<OVNURLSessionUploadTaskDelegate> OVNURLSessionUploadTaskDelegate::initWithTask(
    std::shared_ptr<OVNURLSessionTask> task) {
  auto delegate = OVNMake<OVNURLSessionUploadTaskDelegate>();
  delegate->setTask(std::move(task));
  return delegate;
}
