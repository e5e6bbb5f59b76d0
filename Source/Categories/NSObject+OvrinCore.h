#pragma once
// Operations on every object: running callbacks later (on the main queue after a delay,
// cancellable; on the main queue while the caller waits; on the background queue), and
// describing an object from its properties.
//
// Threads: any thread may schedule and cancel. Delayed and main-thread callbacks run on the
// main queue (drained by OVNRunLoop::main()); background callbacks on the global queue of
// background quality of service. Descriptions run on the calling thread and read the
// object's properties as key-value coding does.

#include <functional>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

//! The handle of a delayed callback: called with true it cancels the callback; the main
//! queue calls it with false when the delay has passed, which runs the callback unless it
//! was cancelled. The cancelled flag is shared by every copy of the handle.
using OVNCancelableBlock = std::function<void(bool cancel)>;

//! Schedules `block` on the main queue after `delay` seconds (0 still runs it later, after
//! the main queue's current work) and returns its handle for `ovn_cancelBlock`.
OVN_EXPORT OVNCancelableBlock ovn_performBlock(std::function<void()> block, double delay);

//! Cancels a delayed callback: when its time comes nothing runs. Cancelling after it ran,
//! or an empty handle, has no effect. Cancel from the main thread to be sure to win a race
//! with the callback's start.
OVN_EXPORT void ovn_cancelBlock(const OVNCancelableBlock& handle);

//! Runs `block` on the main queue and returns when it has run. Calling it from the main
//! thread would deadlock, so it throws OVNException (NSInternalInconsistencyException)
//! instead and the block does not run.
OVN_EXPORT void ovn_performBlockOnMainThread(const std::function<void()>& block);

//! Submits `block` to the background global queue and returns at once.
OVN_EXPORT void ovn_performBlockInBackground(std::function<void()> block);

// ---- descriptions ------------------------------------------------------------------------

//! "<ClassName: name=value, ...>": the class name and ovn_autoDescriptionForClassType of
//! the object's own class, e.g. "<Station: name=Austin, id=7>".
OVN_EXPORT std::string ovn_autoDescription(const OVNObject& object);

//! The entries of ovn_autoPropertiesDescriptionInArrayFormForClassType joined with ", ".
OVN_EXPORT std::string ovn_autoDescriptionForClassType(const OVNObject& object, const OVNClass& cls);

//! "name=value" for each property `cls` declares, in declaration order, after the entries
//! of its superclasses below the root; the root's own properties (superclass, hash,
//! description, debugDescription) are left out. Values print as their descriptions, a
//! missing value as "(null)". `object` must be an instance of `cls` or of a subclass;
//! anything else is a programming error (OVNException, NSInvalidArgumentException).
OVN_EXPORT std::vector<std::string> ovn_autoPropertiesDescriptionInArrayFormForClassType(const OVNObject& object,
                                                                                         const OVNClass& cls);
