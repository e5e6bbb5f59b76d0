#pragma once
// One position fix (CLLocation): a coordinate with its altitude, horizontal and vertical
// accuracy (metres; negative means unknown), course (degrees from true north; negative
// means unknown), speed (metres per second; negative means unknown) and the time it was
// taken. Immutable: any thread may share one.

#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationCoordinate2D.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNLocation : public OVNObject {
  OVN_CLASS_NAMED(OVNLocation, OVNObject, "CLLocation")

 public:
  //! Every measurement of a fix; the make functions below are shorter.
  struct Fix {
    OVNLocationCoordinate2D coordinate;
    double altitude = 0;
    double horizontalAccuracy = 0;
    double verticalAccuracy = -1;
    double course = -1;
    double speed = -1;
    OVNDate timestamp;
  };

  explicit OVNLocation(Fix fix) : fix_(fix) {}

  //! A fix at the coordinate, taken now, with accuracy 0 and no altitude, course or speed.
  static std::shared_ptr<OVNLocation> initWithLatitude(double latitude, double longitude);
  static std::shared_ptr<OVNLocation> initWithFix(const Fix& fix) { return OVNMake<OVNLocation>(fix); }

  OVNLocationCoordinate2D coordinate() const { return fix_.coordinate; }
  double altitude() const { return fix_.altitude; }
  double horizontalAccuracy() const { return fix_.horizontalAccuracy; }
  double verticalAccuracy() const { return fix_.verticalAccuracy; }
  double course() const { return fix_.course; }
  double speed() const { return fix_.speed; }
  OVNDate timestamp() const { return fix_.timestamp; }
  const Fix& fix() const { return fix_; }

  //! Metres along the great circle to `other` (haversine on a sphere of the mean earth
  //! radius, 6,371,008.8 m).
  double distanceFromLocation(const OVNLocation& other) const;
  //! The same distance between two coordinates.
  static double distanceBetweenCoordinates(OVNLocationCoordinate2D from, OVNLocationCoordinate2D to);

  //! "<+30.267100,-97.743100> +/- 65.00m (speed -1.00 mps / course -1.00) @ 2026-11-25 ...".
  std::string description() const override;

 private:
  Fix fix_;
};

using OVNLocationRef = std::shared_ptr<OVNLocation>;
