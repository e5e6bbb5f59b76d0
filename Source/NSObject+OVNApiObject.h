#pragma once
// Model objects back into dictionaries, for any object.
//
// Threads: the caller's; the object must not change meanwhile.

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"

//! A new mutable dictionary: for each property of the object's class and its ancestors
//! below the root (read-only ones included), the value as it is for strings, numbers,
//! null, dictionaries and other objects; arrays through the array form of
//! `ovn_toDictionary`; model objects (OVNApiObject) through their `toDictionary`; scalars
//! boxed; nothing as the null marker.
OVN_EXPORT OVNDictionaryRef ovn_toDictionary(const OVNObject& object);
