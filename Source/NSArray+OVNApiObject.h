#pragma once
// Arrays of model objects back into arrays of dictionaries.
//
// Threads: the caller's; the array must not change meanwhile.

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNArray.h"

//! A new mutable array: strings, numbers and null as they are, model objects
//! (OVNApiObject) as their `toDictionary`, other objects and containers as they are
//! (nested arrays are not converted); a null array gives null.
OVN_EXPORT OVNArrayRef ovn_toDictionary(const OVNArrayRef& array);
