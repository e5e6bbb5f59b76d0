#pragma once
// OVNApiEndpointResult: what an endpoint hands its caller: the mapped objects, or the
// error of the reply, or (for an envelope that failed without an error) neither.
// Immutable after it is made; any thread may read it.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNArray.h"

class OVNError;

class OVN_EXPORT OVNApiEndpointResult : public OVNObject {
  OVN_CLASS(OVNApiEndpointResult, OVNObject)

 public:
  OVNApiEndpointResult() = default;
  static std::shared_ptr<OVNApiEndpointResult> resultWithValue(OVNArrayRef value, std::shared_ptr<OVNError> error);

  //! The mapped objects; null when nothing was mapped.
  const OVNArrayRef& value() const { return value_; }
  const std::shared_ptr<OVNError>& error() const { return error_; }

 private:
  OVNArrayRef value_;
  std::shared_ptr<OVNError> error_;
};

using OVNApiEndpointResultRef = std::shared_ptr<OVNApiEndpointResult>;
