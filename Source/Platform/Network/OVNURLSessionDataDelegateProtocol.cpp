#include "Platform/Network/OVNURLSessionDataDelegateProtocol.h"

#include "Platform/Network/OVNCachedURLResponse.h"

void OVNURLSessionDataDelegateProtocol::URLSessionDataTaskDidReceiveResponse(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionDataTask>&,
    const std::shared_ptr<OVNURLResponse>&, ResponseCompletion completion) {
  if (completion) completion(OVNURLSessionResponseAllow);
}

void OVNURLSessionDataDelegateProtocol::URLSessionDataTaskWillCacheResponse(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionDataTask>&,
    const std::shared_ptr<OVNCachedURLResponse>& proposedResponse, CacheCompletion completion) {
  if (completion) completion(proposedResponse);
}
