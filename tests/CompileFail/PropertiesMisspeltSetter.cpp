// expect-error: static assertion failed: OVN_PROPERTIES: Observation has no setter named 'setTempc'
#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  double tempC() const { return 0; }
  void setTempC(double) {}
};
OVN_PROPERTIES(Observation, (tempC, setTempc))
