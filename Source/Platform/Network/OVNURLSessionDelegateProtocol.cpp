#include "Platform/Network/OVNURLSessionDelegateProtocol.h"

#include "Platform/Network/OVNURLCredential.h"

OVNURLSessionDelegateProtocol::~OVNURLSessionDelegateProtocol() = default;

void OVNURLSessionDelegateProtocol::URLSessionDidReceiveChallenge(const std::shared_ptr<OVNURLSession>&,
                                                                  const std::shared_ptr<OVNURLAuthenticationChallenge>&,
                                                                  ChallengeCompletion completion) {
  if (completion) completion(OVNURLSessionAuthChallengePerformDefaultHandling, nullptr);
}
