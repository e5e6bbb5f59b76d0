#pragma once
// An object that can stand in for a source dictionary when the property mapper updates
// another object from it (model objects of the API layer are).

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDictionary.h"

class OVN_EXPORT OVNDictionaryConvertible {
 public:
  virtual ~OVNDictionaryConvertible() = default;
  //! The object's values as a dictionary; null when it has none.
  virtual OVNDictionaryRef toDictionary() const = 0;
};
