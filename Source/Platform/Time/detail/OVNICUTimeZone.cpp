#include "Platform/Time/detail/OVNICUTimeZone.h"

#include "Platform/Time/OVNTimeZone.h"

namespace ovn::detail {

const OVNICUTimeZone& OVNICUTimeZone::of(const OVNTimeZone& timeZone) { return *timeZone.zone_; }

}  // namespace ovn::detail
