#pragma once
// The platform's clocks. Wall time ("absolute time": seconds since 2001-01-01 00:00:00 UTC)
// and a monotonic uptime both come from here, so that a test clock (OVNTestClock) can drive
// dates, expiry and the main run loop's timers exactly, without sleeping.
// Thread-safe: any thread may read the clock.

#include <functional>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNClock {
 public:
  //! Seconds since 1 January 2001 00:00:00 UTC, the platform's reference date.
  static double absoluteTime();
  //! Seconds on a monotonic clock; only differences are meaningful.
  static double uptime();

  //! Seconds between 1970-01-01 and the reference date 2001-01-01.
  static constexpr double referenceDateOffsetFrom1970 = 978307200.0;

  //! Replaces both clocks with readings from `source`, which returns seconds since the
  //! reference date; uptime then follows the same source. An empty function restores the
  //! system clocks. Used by OVNTestClock; not meant to be changed while other threads read.
  static void setOverride(std::function<double()> source);
  static bool isOverridden();
};
