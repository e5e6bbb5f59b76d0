#pragma once
// The model factory of the property mapper: makes the blank instances that mapping fills.
//
// Threads: the mapper calls it on the thread that maps; an implementation used by a
// mapper on several threads must be safe to call concurrently.

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVN_EXPORT OVNPropertyMapperModelFactoryProtocol {
 public:
  virtual ~OVNPropertyMapperModelFactoryProtocol() = default;
  //! A new instance of `cls` for `dictionary` (the source values, or missing); null when
  //! none can be made.
  virtual OVNObjectRef instanceForClass(const OVNClass& cls, const OVNValue& dictionary) = 0;
};
