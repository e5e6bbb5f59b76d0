#pragma once
// In-place helpers for mutable arrays. Not synchronised.

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNArray.h"

//! Reverses the array in place by swapping the first and last, the second and
//! second-to-last, and so on. An immutable array is a programming error (it throws).
OVN_EXPORT void ovn_reverse(const OVNArrayRef& mutableArray);
