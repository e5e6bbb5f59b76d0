#include "Platform/Network/OVNURLSessionUploadTask.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionUploadTask)
