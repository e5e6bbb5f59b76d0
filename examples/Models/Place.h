#pragma once
// Where an observation was made: {"name": "austin", "state": "tx", "country": "us"}.

#include <string>

#include "OVNApiObject.h"

class Place : public OVNApiObject {
  OVN_CLASS(Place, OVNApiObject)
 public:
  std::string name;
  std::string state;
  std::string country;
};
