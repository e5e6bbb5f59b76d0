#include "Networking/OVNResponseResult.h"

#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNResponseResult, (value, setValue), (error, setError))

std::shared_ptr<OVNResponseResult> OVNResponseResult::result() { return OVNMake<OVNResponseResult>(); }
