#pragma once
// One declared property of a class: its name, the platform's attribute text
// (T@"NSString",C,N,V_name) and the accessor that reads and writes it on an object.
// Immutable after its class is built; safe to share between threads.

#include <memory>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVNObject;

//! Reads and writes one property on objects of the declaring class (or a subclass).
class OVN_EXPORT OVNPropertyAccessor {
 public:
  enum class SetResult { Stored, Nil, Mismatch };
  virtual ~OVNPropertyAccessor() = default;
  virtual OVNValue get(const OVNObject& object) const = 0;
  //! `Nil` when a missing value was given to a scalar property (the caller then asks the
  //! object's setNilValueForKey); `Mismatch` when the value's kind does not fit.
  virtual SetResult set(OVNObject& object, const OVNValue& value) const = 0;
};

class OVN_EXPORT OVNProperty {
 public:
  OVNProperty(std::string name, std::string attributes, std::shared_ptr<const OVNPropertyAccessor> accessor);

  const std::string& name() const { return name_; }
  //! The platform's attribute list, e.g. T@"NSString",C,N,V_name or Tq,R,N.
  const std::string& attributes() const { return attributes_; }
  //! The type encoding of the T attribute without the T: @"NSString", q, @?, {CGPoint=dd}.
  const std::string& typeEncoding() const { return typeEncoding_; }
  bool isReadOnly() const { return readOnly_; }
  bool isDynamic() const { return dynamic_; }
  //! The backing field's name (the V attribute), empty when the property has none.
  const std::string& fieldName() const { return fieldName_; }

  OVNValue get(const OVNObject& object) const { return accessor_->get(object); }
  OVNPropertyAccessor::SetResult set(OVNObject& object, const OVNValue& value) const {
    return accessor_->set(object, value);
  }

 private:
  std::string name_;
  std::string attributes_;
  std::string typeEncoding_;
  std::string fieldName_;
  bool readOnly_ = false;
  bool dynamic_ = false;
  std::shared_ptr<const OVNPropertyAccessor> accessor_;
};
