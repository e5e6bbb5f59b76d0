#pragma once
// Number helpers. Pure functions.

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNNumber.h"

//! floor((value + interval / 2) / interval) x interval, in single precision as the platform
//! computes it: the value is read as a 32-bit float, the floor taken of a 32-bit float and
//! the result kept as a 32-bit float (returned as a floating number). Halves round up.
OVN_EXPORT OVNNumber ovn_roundToNearestInterval(const OVNNumber& receiver, double interval);
