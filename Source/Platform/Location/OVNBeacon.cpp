#include "Platform/Location/OVNBeacon.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNBeacon)
