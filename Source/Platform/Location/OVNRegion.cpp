#include "Platform/Location/OVNRegion.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNRegion, identifier, (notifyOnEntry, setNotifyOnEntry), (notifyOnExit, setNotifyOnExit))
