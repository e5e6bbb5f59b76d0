#include "Platform/Network/OVNURLSessionDataTask.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionDataTask)
