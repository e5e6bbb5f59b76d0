#include "Platform/Location/OVNVisit.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNVisit, horizontalAccuracy, arrivalDate, departureDate)
