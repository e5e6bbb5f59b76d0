#pragma once
// Reads the points of a GPX document with expat, for the simulated provider.
// Only platform sources in this folder include this header.

#include <memory>
#include <string_view>
#include <vector>

#include "Platform/Location/OVNSimulatedLocationProvider.h"

namespace ovn::detail {

struct OVNGPXTrack {
  std::vector<OVNSimulatedLocationProvider::Step> steps;
  std::shared_ptr<OVNError> error;  // set when the document is not a usable track
};

//! The points of `gpx` as steps (see OVNSimulatedLocationProvider.h for the rules).
OVNGPXTrack readGPX(std::string_view gpx);

}  // namespace ovn::detail
