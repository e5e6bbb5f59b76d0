#include "PropertyMapper/OVNTimestampDescriptor.h"

#include <cmath>
#include <cstdint>

namespace {

// The platform's 32-bit integer value of a number: integers wrap to 32 bits, floating
// values truncate towards zero (out of range and NaN give 0 rather than undefined
// behaviour).
std::int32_t int32Value(const OVNNumber& number) {
  if (number.isFloating()) {
    const double d = std::trunc(number.doubleValue());
    if (!std::isfinite(d) || d < -9.2e18 || d > 9.2e18) return 0;
    return static_cast<std::int32_t>(static_cast<std::int64_t>(d));
  }
  return static_cast<std::int32_t>(number.longLongValue());
}

}  // namespace

OVNPropertyDescriptorRef OVNTimestampDescriptor(std::string propertyName) {
  return OVNPropertyDescriptor::initWithPropertyName(
      std::move(propertyName),
      [](const OVNValue& value, const std::string&) -> OVNValue {
        auto date = value.date();
        if (!date) return {};
        return OVNNumber::floating(date->timeIntervalSince1970());
      },
      [](const OVNValue& value, const std::string&) -> OVNValue {
        const OVNNumber* number = value.number();
        const std::int32_t seconds = number ? int32Value(*number) : 0;
        return OVNDate::dateWithTimeIntervalSince1970(static_cast<double>(seconds));
      });
}
