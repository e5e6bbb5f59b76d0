#pragma once
// Writing through key paths into mutable dictionaries for the property mapper.
//
// Threads: the caller's; the dictionary is not synchronised.

#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDictionary.h"

//! Stores a present `value` at `keyPath` (dots separate levels; intermediate dictionaries
//! must exist, else nothing is stored), then writes the debug line
//! "DICT: setValue: %@, forKeyPath: %@ - result: %@" (seen when OVNConsoleLog's debug
//! entries are enabled). A missing value changes nothing and logs nothing.
OVN_EXPORT void ovn_setSafeValue(OVNDictionary& dictionary, const OVNValue& value, std::string_view keyPath);
