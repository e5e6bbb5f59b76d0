#pragma once
// OVNApiObject: the base of the model objects a service payload is mapped into. It has an
// identity in the service, copies values from another object, turns itself back into a
// dictionary, and lists the properties of model classes with their type strings. Model
// objects archive, restore and copy themselves from their properties (OVNAutoCodingObject).
//
// Threads: a model object belongs to one thread at a time (the mapping operation makes it
// off the main thread and hands it over); the class-level listings may be read anywhere.

#include <memory>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNAutoCodingObject.h"
#include "PropertyMapper/OVNDictionaryConvertible.h"

class OVN_EXPORT OVNApiObject : public OVNAutoCodingObject, public OVNDictionaryConvertible {
  OVN_CLASS(OVNApiObject, OVNAutoCodingObject)

 public:
  OVNApiObject() = default;

  //! The object's identity in the service; missing here, subclasses override it.
  virtual OVNValue identifier() const;

  //! Copies every writable property of this object's class chain from `other` (a model
  //! object or a dictionary, read by key-value lookup); missing and null values clear
  //! object properties. A value a property cannot hold leaves that property as it is.
  void updateWithObject(const OVNValue& other);

  //! `ovn_toDictionary` of this object.
  OVNDictionaryRef toDictionary() const override;

  // Name -> type string listings; `excludeReadonly` leaves read-only properties out. An
  // ancestor's declaration of a name wins over a descendant's.
  //! `propertiesOfClass` of the object's class.
  static OVNDictionaryRef propertiesOfObject(const OVNObject& object, bool excludeReadonly);
  //! The class and its ancestors below the root; immutable; null for a null class.
  static OVNDictionaryRef propertiesOfClass(const OVNClass* cls, bool excludeReadonly);
  //! Only what `cls` itself declares; null for a null class.
  static OVNDictionaryRef propertiesOfSubclass(const OVNClass* cls, bool excludeReadonly);
  //! The workers of the two above: they add to `dictionary` and return it (null for a null
  //! class).
  static OVNDictionaryRef propertiesForHierarchyOfClass(const OVNClass* cls, const OVNDictionaryRef& dictionary,
                                                        bool excludeReadonly);
  static OVNDictionaryRef propertiesForSubclass(const OVNClass* cls, const OVNDictionaryRef& dictionary,
                                                bool excludeReadonly);
};

using OVNApiObjectRef = std::shared_ptr<OVNApiObject>;
