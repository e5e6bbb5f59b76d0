#include "Platform/Text/OVNTextCheckingResult.h"

#include <utility>

#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNFormat.h"

OVNTextCheckingResult::OVNTextCheckingResult(std::vector<OVNRange> ranges) : ranges_(std::move(ranges)) {}

OVNRange OVNTextCheckingResult::rangeAtIndex(std::size_t index) const {
  if (index >= ranges_.size()) {
    OVNException::raise(OVNRangeException, OVNFormat("index %lu out of bounds [0 .. %lu]", index,
                                                     ranges_.empty() ? 0 : ranges_.size() - 1));
  }
  return ranges_[index];
}
