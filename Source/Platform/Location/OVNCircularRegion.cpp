#include "Platform/Location/OVNCircularRegion.h"

#include "Platform/Location/OVNLocation.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNCircularRegion, radius)

bool OVNCircularRegion::containsCoordinate(OVNLocationCoordinate2D coordinate) const {
  return OVNLocation::distanceBetweenCoordinates(center_, coordinate) <= radius_;
}

std::string OVNCircularRegion::description() const {
  return OVNFormat("CLCircularRegion (identifier:'%@', center:<%+.8f,%+.8f>, radius:%.2f)", identifier(),
                   center_.latitude, center_.longitude, radius_);
}
