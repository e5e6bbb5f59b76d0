#pragma once
// The default model factory: a default-initialized instance of the class, whatever the
// dictionary holds. Stateless; any thread.

#include "PropertyMapper/OVNPropertyMapperModelFactoryProtocol.h"

class OVNPropertyMapperSimpleModelFactory : public OVNPropertyMapperModelFactoryProtocol {
 public:
  //! The class's factory instance (its didCreate hook run); null for abstract classes.
  OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) override;
};
