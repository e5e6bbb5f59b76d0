#include "OVNApiEndpointResult.h"

#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNApiEndpointResult, value, error)

std::shared_ptr<OVNApiEndpointResult> OVNApiEndpointResult::resultWithValue(OVNArrayRef value,
                                                                            std::shared_ptr<OVNError> error) {
  auto result = OVNMake<OVNApiEndpointResult>();
  result->value_ = std::move(value);
  result->error_ = std::move(error);
  return result;
}
