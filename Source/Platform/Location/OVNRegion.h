#pragma once
// A region the location service can monitor (CLRegion): an identifier that names it among
// the monitored regions, and whether entering and leaving it are reported (both by
// default). Subclasses say where it is. Region state values: OVNRegionState*.
// Threads: any, for reading; set the flags before monitoring starts.

#include <cstdint>
#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

using OVNRegionState = std::int64_t;
inline constexpr OVNRegionState OVNRegionStateUnknown = 0;
inline constexpr OVNRegionState OVNRegionStateInside = 1;
inline constexpr OVNRegionState OVNRegionStateOutside = 2;

class OVN_EXPORT OVNRegion : public OVNObject {
  OVN_CLASS_NAMED(OVNRegion, OVNObject, "CLRegion")

 public:
  explicit OVNRegion(std::string identifier) : identifier_(std::move(identifier)) {}

  const std::string& identifier() const { return identifier_; }
  bool notifyOnEntry() const { return notifyOnEntry_; }
  void setNotifyOnEntry(bool notify) { notifyOnEntry_ = notify; }
  bool notifyOnExit() const { return notifyOnExit_; }
  void setNotifyOnExit(bool notify) { notifyOnExit_ = notify; }

 private:
  std::string identifier_;
  bool notifyOnEntry_ = true;
  bool notifyOnExit_ = true;
};

using OVNRegionRef = std::shared_ptr<OVNRegion>;
