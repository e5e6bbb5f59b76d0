#include <cstdint>

#include "Categories/NSTimeZone+OvrinCore.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNValue.h"

namespace {
constexpr std::size_t kMinimumLengthWithOffset = 25;
constexpr OVNRange kHoursRange = OVNMakeRange(19, 3);
constexpr std::size_t kMinutesStart = 23;

// The leading integer of `text`, 0 when there is none (as a string's integer value).
std::int64_t integerValue(std::string text) { return OVNValue(std::move(text)).longLongValue().value_or(0); }
}  // namespace

std::shared_ptr<OVNTimeZone> ovn_timeZoneFromDateString(std::string_view text) {
  const std::size_t length = OVNString::length(text);
  if (length < kMinimumLengthWithOffset) return OVNTimeZone::timeZoneForSecondsFromGMT(0);
  const std::int64_t hours = integerValue(OVNString::substringWithRange(text, kHoursRange));
  const std::int64_t minutes =
      integerValue(OVNString::substringWithRange(text, OVNMakeRange(kMinutesStart, length - kMinutesStart)));
  // Absurd offsets (garbage at the fixed positions, even beyond 64 bits) give GMT rather
  // than no zone.
  std::int64_t seconds = 0;
  const bool overflows = __builtin_mul_overflow(hours, 60, &seconds) ||
                         __builtin_add_overflow(seconds, minutes, &seconds) ||
                         __builtin_mul_overflow(seconds, 60, &seconds);
  auto zone = overflows ? nullptr : OVNTimeZone::timeZoneForSecondsFromGMT(seconds);
  return zone ? zone : OVNTimeZone::timeZoneForSecondsFromGMT(0);
}
