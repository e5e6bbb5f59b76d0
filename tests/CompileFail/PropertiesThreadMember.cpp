// expect-error: static assertion failed: OVN_PROPERTIES: the type of Observation::worker is not a supported property
// type
#include <thread>

#include "Platform/Objects/OVNProperties.h"

class Observation : public OVNObject {
  OVN_CLASS(Observation, OVNObject)
 public:
  std::thread worker;
};
OVN_PROPERTIES(Observation, worker)
