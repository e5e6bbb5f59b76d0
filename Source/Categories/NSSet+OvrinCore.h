#pragma once
// Set helpers. The callback runs on the calling thread, once per member in the set's order.

#include <functional>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNSet.h"

using OVNSetFilterBlock = std::function<bool(const OVNValue& member, bool* stop)>;

//! A new set of the members for which the callback returned true; setting the stop flag
//! ends the walk after the current member.
OVN_EXPORT OVNSetRef ovn_filterObjectsUsingBlock(const OVNSetRef& receiver, const OVNSetFilterBlock& block);
