#pragma once
// OVNExpirable: something that can go stale. Content is expired when its expiry is present
// and lies strictly before now; an absent expiry never expires, and an expiry equal to now
// is still valid. "Now" is OVNDate::now(), so a test clock moves it.
//
// Threads: as the conforming class says; the rule itself is a pure function.
#include <optional>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNExpirable {
 public:
  virtual ~OVNExpirable() = default;

  virtual std::optional<OVNDate> expires() const = 0;
  virtual void setExpires(std::optional<OVNDate> expires) = 0;

  //! Seconds from now to `expires`: negative once it has passed, 0 when absent.
  static double expiryDistanceFromNow(const std::optional<OVNDate>& expires) {
    return expires ? expires->timeIntervalSinceNow() : 0;
  }
  //! The expiry rule.
  static bool isExpired(const std::optional<OVNDate>& expires) { return expiryDistanceFromNow(expires) < 0; }

 protected:
  OVNExpirable() = default;
  OVNExpirable(const OVNExpirable&) = default;
  OVNExpirable& operator=(const OVNExpirable&) = default;
};
