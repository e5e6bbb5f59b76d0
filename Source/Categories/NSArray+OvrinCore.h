#pragma once
// Array helpers that return new immutable arrays and leave the receiver alone. Index checks
// accept any index up to and including the count; an index equal to the count then meets
// the array's own range check, which throws NSRangeException (kept as the platform has it).
// The callbacks run on the calling thread, in order.

#include <cstddef>
#include <functional>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNArray.h"

//! True for a null array or one without elements.
OVN_EXPORT bool ovn_isEmpty(const OVNArrayRef& array);

OVN_EXPORT OVNArrayRef ovn_reversedArray(const OVNArrayRef& receiver);
//! The elements followed by `object` (a missing object is a programming error).
OVN_EXPORT OVNArrayRef ovn_arrayByAddingObject(const OVNArrayRef& receiver, OVNValue object);
//! `object` inserted before `index` when index <= count (index == count appends), else
//! the receiver itself.
OVN_EXPORT OVNArrayRef ovn_arrayByInsertingObject(const OVNArrayRef& receiver, OVNValue object, std::size_t index);
//! Element `index` replaced when `object` is present and index <= count, else the receiver.
OVN_EXPORT OVNArrayRef ovn_arrayByReplacingObjectAtIndex(const OVNArrayRef& receiver, std::size_t index,
                                                         OVNValue object);
//! Every element equal to `object` removed.
OVN_EXPORT OVNArrayRef ovn_arrayByRemovingObject(const OVNArrayRef& receiver, const OVNValue& object);
//! Element `index` removed when index <= count, else the receiver.
OVN_EXPORT OVNArrayRef ovn_arrayByRemovingObjectAtIndex(const OVNArrayRef& receiver, std::size_t index);
//! The element at `from` moved to `to` (counted after its removal) when to <= count, else
//! the receiver; only the destination is checked.
OVN_EXPORT OVNArrayRef ovn_arrayByMovingObjectAtIndex(const OVNArrayRef& receiver, std::size_t from, std::size_t to);

//! Callbacks get the element, its index and a stop flag: set it to end the walk after this
//! element.
using OVNArrayMapBlock = std::function<OVNValue(const OVNValue& element, std::size_t index, bool* stop)>;
using OVNArrayFilterBlock = std::function<bool(const OVNValue& element, std::size_t index, bool* stop)>;

//! The callback's results in order; a missing result adds nothing.
OVN_EXPORT OVNArrayRef ovn_mapObjectsUsingBlock(const OVNArrayRef& receiver, const OVNArrayMapBlock& block);
//! The elements for which the callback returned true, in order.
OVN_EXPORT OVNArrayRef ovn_filterObjectsUsingBlock(const OVNArrayRef& receiver, const OVNArrayFilterBlock& block);
