#pragma once
// An instant in time: seconds since the reference date 2001-01-01 00:00:00 UTC, as on the
// platform. A plain value type; safe to copy between threads. Calendars and formatters
// live in their own classes.

#include <compare>
#include <string>

#include "OvrinCoreExport.h"

class OVN_EXPORT OVNDate {
 public:
  constexpr OVNDate() = default;
  constexpr explicit OVNDate(double secondsSinceReferenceDate) : seconds_(secondsSinceReferenceDate) {}

  //! The current instant, read from OVNClock (so a test clock moves it).
  static OVNDate now();
  static constexpr OVNDate distantFuture() { return OVNDate(63113904000.0); }
  static constexpr OVNDate distantPast() { return OVNDate(-63114076800.0); }
  static constexpr OVNDate dateWithTimeIntervalSince1970(double seconds) { return OVNDate(seconds - 978307200.0); }
  static OVNDate dateWithTimeIntervalSinceNow(double seconds);

  constexpr double timeIntervalSinceReferenceDate() const { return seconds_; }
  constexpr double timeIntervalSince1970() const { return seconds_ + 978307200.0; }
  double timeIntervalSinceNow() const;
  constexpr double timeIntervalSinceDate(const OVNDate& other) const { return seconds_ - other.seconds_; }
  constexpr OVNDate dateByAddingTimeInterval(double seconds) const { return OVNDate(seconds_ + seconds); }

  constexpr OVNDate earlierDate(const OVNDate& other) const { return other.seconds_ < seconds_ ? other : *this; }
  constexpr OVNDate laterDate(const OVNDate& other) const { return other.seconds_ > seconds_ ? other : *this; }

  constexpr auto operator<=>(const OVNDate&) const = default;

  //! The platform's default description: "2001-01-01 00:00:00 +0000" (UTC).
  std::string description() const;

 private:
  double seconds_ = 0;
};
