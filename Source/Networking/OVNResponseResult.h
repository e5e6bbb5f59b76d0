#pragma once
// OVNResponseResult: what a response serializer made of a reply: a value, an error, or
// neither (a body that did not decode). Serializers fill at most one of the two.
// Built by one serializer call, then handed on; not synchronised.

#include <memory>
#include <utility>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNResponseResult : public OVNObject {
  OVN_CLASS(OVNResponseResult, OVNObject)

 public:
  OVNResponseResult() = default;
  //! An empty result: no value, no error.
  static std::shared_ptr<OVNResponseResult> result();

  //! Missing when there is none.
  const OVNValue& value() const { return value_; }
  void setValue(OVNValue value) { value_ = std::move(value); }
  const std::shared_ptr<OVNError>& error() const { return error_; }
  void setError(std::shared_ptr<OVNError> error) { error_ = std::move(error); }

 private:
  OVNValue value_;
  std::shared_ptr<OVNError> error_;
};
