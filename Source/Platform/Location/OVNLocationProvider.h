#pragma once
// Where a location manager's fixes come from: a GPS receiver through gpsd
// (OVNGpsdLocationProvider), a replayed track (OVNSimulatedLocationProvider), or an
// application's own source.
//
// The manager starts a provider when it needs fixes or headings and stops it when it needs
// neither. A provider reports through the callbacks it was started with, from any thread;
// the manager takes each report to the main queue and drops those that arrive after it
// stopped the provider. A provider that cannot deliver (its source unreachable, gone, or
// speaking garbage) reports a failure with an error of OVNLocationErrorDomain that says why,
// and keeps trying if it can; it never throws from its callbacks' threads.
// start and stop are called on the main thread.

#include <functional>
#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNHeading.h"
#include "Platform/Location/OVNLocation.h"
#include "Platform/Objects/OVNError.h"

class OVN_EXPORT OVNLocationProvider {
 public:
  struct Callbacks {
    std::function<void(const OVNLocationRef&)> location;
    std::function<void(const OVNHeadingRef&)> heading;
    std::function<void(const std::shared_ptr<OVNError>&)> failure;
  };

  virtual ~OVNLocationProvider() = default;

  //! Starts reporting through `callbacks`; a provider already started restarts with them.
  virtual void start(Callbacks callbacks) = 0;
  //! Stops reporting. Reports already under way may still arrive; the manager drops them.
  virtual void stop() = 0;
};

using OVNLocationProviderRef = std::shared_ptr<OVNLocationProvider>;
