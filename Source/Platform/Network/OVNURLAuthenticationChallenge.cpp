#include "Platform/Network/OVNURLAuthenticationChallenge.h"

#include "Platform/Network/OVNURLCredential.h"
#include "Platform/Network/OVNURLProtectionSpace.h"
#include "Platform/Network/OVNURLResponse.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLAuthenticationChallenge, protectionSpace, proposedCredential, previousFailureCount,
               failureResponse)

std::shared_ptr<OVNURLAuthenticationChallenge> OVNURLAuthenticationChallenge::challengeWithProtectionSpace(
    std::shared_ptr<OVNURLProtectionSpace> space, std::shared_ptr<OVNURLCredential> proposedCredential,
    std::int64_t previousFailureCount, std::shared_ptr<OVNURLResponse> failureResponse) {
  auto challenge = OVNMake<OVNURLAuthenticationChallenge>();
  challenge->space_ = std::move(space);
  challenge->proposed_ = std::move(proposedCredential);
  challenge->failures_ = previousFailureCount;
  challenge->failureResponse_ = std::move(failureResponse);
  return challenge;
}
