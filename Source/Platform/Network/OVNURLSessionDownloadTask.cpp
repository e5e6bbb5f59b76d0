#include "Platform/Network/OVNURLSessionDownloadTask.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNURLSessionDownloadTask)
