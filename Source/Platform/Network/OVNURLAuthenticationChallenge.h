#pragma once
// OVNURLAuthenticationChallenge: a server asking who the client is, or the client asked to
// decide whether to trust a server (NSURLAuthenticationChallenge). Immutable.
//
// The session answers every challenge itself today: TLS trust follows the configuration's
// certificates, and a 401 reply reaches the delegate as a response. The type exists so
// that delegates have the platform's full shape and can be driven directly.

#include <cstdint>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNURLProtectionSpace;
class OVNURLCredential;
class OVNURLResponse;

//! How a delegate answers a challenge; 1, default handling, is what the session does
//! when nobody answers.
using OVNURLSessionAuthChallengeDisposition = std::int64_t;
inline constexpr OVNURLSessionAuthChallengeDisposition OVNURLSessionAuthChallengeUseCredential = 0;
inline constexpr OVNURLSessionAuthChallengeDisposition OVNURLSessionAuthChallengePerformDefaultHandling = 1;
inline constexpr OVNURLSessionAuthChallengeDisposition OVNURLSessionAuthChallengeCancelAuthenticationChallenge = 2;
inline constexpr OVNURLSessionAuthChallengeDisposition OVNURLSessionAuthChallengeRejectProtectionSpace = 3;

class OVN_EXPORT OVNURLAuthenticationChallenge : public OVNObject {
  OVN_CLASS_NAMED(OVNURLAuthenticationChallenge, OVNObject, "NSURLAuthenticationChallenge")

 public:
  OVNURLAuthenticationChallenge() = default;
  static std::shared_ptr<OVNURLAuthenticationChallenge> challengeWithProtectionSpace(
      std::shared_ptr<OVNURLProtectionSpace> space, std::shared_ptr<OVNURLCredential> proposedCredential,
      std::int64_t previousFailureCount, std::shared_ptr<OVNURLResponse> failureResponse);

  const std::shared_ptr<OVNURLProtectionSpace>& protectionSpace() const { return space_; }
  const std::shared_ptr<OVNURLCredential>& proposedCredential() const { return proposed_; }
  std::int64_t previousFailureCount() const { return failures_; }
  const std::shared_ptr<OVNURLResponse>& failureResponse() const { return failureResponse_; }

 private:
  std::shared_ptr<OVNURLProtectionSpace> space_;
  std::shared_ptr<OVNURLCredential> proposed_;
  std::int64_t failures_ = 0;
  std::shared_ptr<OVNURLResponse> failureResponse_;
};
