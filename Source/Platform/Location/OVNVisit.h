#pragma once
// A place the user stayed at (CLVisit), as a plain value: where, how accurately, and from
// when to when (the distant past or future when unknown). Linux reports no visits; the
// simulated provider and applications' own providers may. Immutable; any thread.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationCoordinate2D.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNVisit : public OVNObject {
  OVN_CLASS_NAMED(OVNVisit, OVNObject, "CLVisit")

 public:
  OVNVisit(OVNLocationCoordinate2D coordinate, double horizontalAccuracy, OVNDate arrivalDate, OVNDate departureDate)
      : coordinate_(coordinate),
        horizontalAccuracy_(horizontalAccuracy),
        arrivalDate_(arrivalDate),
        departureDate_(departureDate) {}

  OVNLocationCoordinate2D coordinate() const { return coordinate_; }
  double horizontalAccuracy() const { return horizontalAccuracy_; }
  OVNDate arrivalDate() const { return arrivalDate_; }
  OVNDate departureDate() const { return departureDate_; }

 private:
  OVNLocationCoordinate2D coordinate_;
  double horizontalAccuracy_;
  OVNDate arrivalDate_;
  OVNDate departureDate_;
};

using OVNVisitRef = std::shared_ptr<OVNVisit>;
