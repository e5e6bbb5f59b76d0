#pragma once
// One heading (CLHeading): degrees from magnetic and from true north (negative when
// unknown), the accuracy in degrees (negative when unknown) and when it was measured.
// On Linux it is the course over ground a GPS receiver reports. Immutable; any thread.

#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNHeading : public OVNObject {
  OVN_CLASS_NAMED(OVNHeading, OVNObject, "CLHeading")

 public:
  OVNHeading(double magneticHeading, double trueHeading, double headingAccuracy, OVNDate timestamp)
      : magneticHeading_(magneticHeading),
        trueHeading_(trueHeading),
        headingAccuracy_(headingAccuracy),
        timestamp_(timestamp) {}

  double magneticHeading() const { return magneticHeading_; }
  double trueHeading() const { return trueHeading_; }
  double headingAccuracy() const { return headingAccuracy_; }
  OVNDate timestamp() const { return timestamp_; }

  //! "magneticHeading 90.00 trueHeading 92.50 accuracy 5.00 @ ...".
  std::string description() const override;

 private:
  double magneticHeading_;
  double trueHeading_;
  double headingAccuracy_;
  OVNDate timestamp_;
};

using OVNHeadingRef = std::shared_ptr<OVNHeading>;
