// expect-error: static assertion failed: OVN_PROPERTIES: Observation has no member or getter named 'tempc'
#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  double tempC = 0;
};
OVN_PROPERTIES(Observation, tempc)
