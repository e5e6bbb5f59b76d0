#pragma once
// The default model factory: a default-initialized instance of the class, whatever the
// dictionary holds. Stateless; any thread.

#include "OvrinCoreExport.h"
#include "PropertyMapper/OVNPropertyMapperModelFactoryProtocol.h"

class OVN_EXPORT OVNPropertyMapperSimpleModelFactory : public OVNPropertyMapperModelFactoryProtocol {
 public:
  //! The class's factory instance (its didCreate hook run); null for abstract classes.
  OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) override;
};
