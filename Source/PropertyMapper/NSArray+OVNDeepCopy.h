#pragma once
// Deep copies of arrays for the property mapper; the same rules as the dictionary forms.
//
// Threads: the caller's; the source must not change meanwhile.

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNArray.h"

//! A new mutable array, each member copied by its own copy operation when it has one,
//! shared otherwise. A null source gives null.
OVN_EXPORT OVNArrayRef ovn_deepCopy(const OVNArrayRef& array);

//! A new mutable array whose nested dictionaries and arrays are mutable deep copies all
//! the way down. A null source gives null.
OVN_EXPORT OVNArrayRef ovn_mutableDeepCopy(const OVNArrayRef& array);

//! The mutable deep copy of a member of either container kind (shared by both forms).
OVN_EXPORT OVNValue ovn_mutableDeepCopyOfMember(const OVNValue& member);
