#include "Platform/Network/OVNURLSessionTaskDelegateProtocol.h"

#include "Platform/Network/OVNInputStream.h"
#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLRequest.h"

void OVNURLSessionTaskDelegateProtocol::URLSessionTaskWillPerformHTTPRedirection(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionTask>&,
    const std::shared_ptr<OVNHTTPURLResponse>&, const std::shared_ptr<OVNURLRequest>& newRequest,
    RedirectCompletion completion) {
  if (completion) completion(newRequest);
}

void OVNURLSessionTaskDelegateProtocol::URLSessionTaskDidReceiveChallenge(
    const std::shared_ptr<OVNURLSession>&, const std::shared_ptr<OVNURLSessionTask>&,
    const std::shared_ptr<OVNURLAuthenticationChallenge>&, ChallengeCompletion completion) {
  if (completion) completion(OVNURLSessionAuthChallengePerformDefaultHandling, nullptr);
}

void OVNURLSessionTaskDelegateProtocol::URLSessionTaskNeedNewBodyStream(const std::shared_ptr<OVNURLSession>&,
                                                                        const std::shared_ptr<OVNURLSessionTask>&,
                                                                        BodyStreamCompletion completion) {
  if (completion) completion(nullptr);
}
