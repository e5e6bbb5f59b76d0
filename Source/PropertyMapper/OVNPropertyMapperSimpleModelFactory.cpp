#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"

#include "Platform/Objects/OVNClass.h"

OVNObjectRef OVNPropertyMapperSimpleModelFactory::instanceForClass(const OVNClass& cls, const OVNValue&) {
  return cls.createInstance();
}
