#pragma once
// A Bluetooth beacon seen while ranging (CLBeacon), as a plain value. Linux offers no
// ranging, so the location manager never reports one; the type exists for delegates and
// providers that have them. Immutable; any thread.

#include <cstdint>
#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

using OVNProximity = std::int64_t;
inline constexpr OVNProximity OVNProximityUnknown = 0;
inline constexpr OVNProximity OVNProximityImmediate = 1;
inline constexpr OVNProximity OVNProximityNear = 2;
inline constexpr OVNProximity OVNProximityFar = 3;

class OVN_EXPORT OVNBeacon : public OVNObject {
  OVN_CLASS_NAMED(OVNBeacon, OVNObject, "CLBeacon")

 public:
  struct Reading {
    std::string proximityUUID;
    std::int64_t major = 0;
    std::int64_t minor = 0;
    OVNProximity proximity = OVNProximityUnknown;
    double accuracy = -1;  //!< metres; negative when unknown
    std::int64_t rssi = 0;
  };

  explicit OVNBeacon(Reading reading) : reading_(std::move(reading)) {}

  const Reading& reading() const { return reading_; }

 private:
  Reading reading_;
};

using OVNBeaconRef = std::shared_ptr<OVNBeacon>;
