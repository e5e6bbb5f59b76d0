#include "Categories/NSSet+OvrinCore.h"

OVNSetRef ovn_filterObjectsUsingBlock(const OVNSetRef& receiver, const OVNSetFilterBlock& block) {
  OVNSet::Storage kept;
  if (receiver) {
    bool stop = false;
    for (const OVNValue& member : *receiver) {
      if (block(member, &stop)) kept.insert(member);
      if (stop) break;
    }
  }
  return std::make_shared<OVNSet>(std::move(kept), false);
}
