// expect-error: static assertion failed: OVN_PROPERTIES: the type of Observation::handle is not a supported property
// type
#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  OVNObject* handle = nullptr;
};
OVN_PROPERTIES(Observation, handle)
