#pragma once
// Deep copies of dictionaries for the property mapper.
//
// Threads: the caller's; the source must not change meanwhile.

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDictionary.h"

//! A new mutable dictionary with the same keys, each value copied by its own copy
//! operation when it has one (so nested containers are copied one level, immutable) and
//! shared otherwise. A null source gives null.
OVN_EXPORT OVNDictionaryRef ovn_deepCopy(const OVNDictionaryRef& dictionary);

//! A new mutable dictionary in which nested dictionaries and arrays are mutable deep
//! copies all the way down, other members mutable copies, copies, or the members
//! themselves, in that order of preference. A null source gives null.
OVN_EXPORT OVNDictionaryRef ovn_mutableDeepCopy(const OVNDictionaryRef& dictionary);
