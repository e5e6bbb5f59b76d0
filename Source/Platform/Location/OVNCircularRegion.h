#pragma once
// A circle on the earth's surface (CLCircularRegion): a centre and a radius in metres. A
// coordinate is inside when its great-circle distance from the centre is at most the
// radius; a radius of 0 holds the centre alone, and a negative or NaN radius holds nothing.
// Threads: as OVNRegion.

#include <memory>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Location/OVNLocationCoordinate2D.h"
#include "Platform/Location/OVNRegion.h"

class OVN_EXPORT OVNCircularRegion : public OVNRegion {
  OVN_CLASS_NAMED(OVNCircularRegion, OVNRegion, "CLCircularRegion")

 public:
  OVNCircularRegion(OVNLocationCoordinate2D center, double radius, std::string identifier)
      : OVNRegion(std::move(identifier)), center_(center), radius_(radius) {}

  static std::shared_ptr<OVNCircularRegion> initWithCenter(OVNLocationCoordinate2D center, double radius,
                                                           std::string identifier) {
    return OVNMake<OVNCircularRegion>(center, radius, std::move(identifier));
  }

  OVNLocationCoordinate2D center() const { return center_; }
  double radius() const { return radius_; }
  bool containsCoordinate(OVNLocationCoordinate2D coordinate) const;

  //! "CLCircularRegion (identifier:'home', center:<+30.26710000,-97.74310000>, radius:100.00)".
  std::string description() const override;

 private:
  OVNLocationCoordinate2D center_;
  double radius_;
};

using OVNCircularRegionRef = std::shared_ptr<OVNCircularRegion>;
