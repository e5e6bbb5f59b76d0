#pragma once
// The ready-made conversion rule between Unix time in seconds and dates.

#include <string>

#include "OvrinCoreExport.h"
#include "PropertyMapper/OVNPropertyDescriptor.h"

//! A kind-3 descriptor for `propertyName`, both directions. Encoding: a date becomes a
//! floating number of seconds since 1970-01-01T00:00:00Z (fractions kept). Decoding: a
//! number, truncated to a signed 32-bit count of seconds, becomes the date that many
//! seconds after 1970-01-01T00:00:00Z; any other value (a numeric string too) counts as 0,
//! so it gives that epoch date itself. Fractions are dropped on the way in; intended.
OVN_EXPORT OVNPropertyDescriptorRef OVNTimestampDescriptor(std::string propertyName);
