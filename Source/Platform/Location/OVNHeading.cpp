#include "Platform/Location/OVNHeading.h"

#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNHeading, magneticHeading, trueHeading, headingAccuracy, timestamp)

std::string OVNHeading::description() const {
  return OVNFormat("magneticHeading %.2f trueHeading %.2f accuracy %.2f @ %@", magneticHeading_, trueHeading_,
                   headingAccuracy_, timestamp_.description());
}
