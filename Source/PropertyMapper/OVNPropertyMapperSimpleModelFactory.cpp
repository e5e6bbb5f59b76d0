#include "PropertyMapper/OVNPropertyMapperSimpleModelFactory.h"

#include "Platform/OVNClass.h"

OVNObjectRef OVNPropertyMapperSimpleModelFactory::instanceForClass(const OVNClass& cls, const OVNValue&) {
  return cls.createInstance();
}
