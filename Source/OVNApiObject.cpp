#include "OVNApiObject.h"

#include "NSObject+OVNApiObject.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"

OVN_PROPERTIES(OVNApiObject, identifier)

OVNValue OVNApiObject::identifier() const { return {}; }

void OVNApiObject::updateWithObject(const OVNValue& other) {
  const OVNDictionaryRef writable = propertiesOfClass(&objectClass(), true);
  for (const auto& [name, type] : *writable) {
    if (!respondsTo(name)) continue;
    try {
      setValue(other.valueForKey(name), name);
    } catch (const OVNException&) {
      // A key `other` lacks, or a value this property cannot hold (nothing for a scalar):
      // that property keeps its value; the others are still copied.
    }
  }
}

OVNDictionaryRef OVNApiObject::toDictionary() const { return ovn_toDictionary(*this); }

OVNDictionaryRef OVNApiObject::propertiesOfObject(const OVNObject& object, bool excludeReadonly) {
  return propertiesOfClass(&object.objectClass(), excludeReadonly);
}

OVNDictionaryRef OVNApiObject::propertiesOfClass(const OVNClass* cls, bool excludeReadonly) {
  auto properties = propertiesForHierarchyOfClass(cls, std::make_shared<OVNDictionary>(), excludeReadonly);
  return properties ? properties->copy() : nullptr;
}

OVNDictionaryRef OVNApiObject::propertiesOfSubclass(const OVNClass* cls, bool excludeReadonly) {
  if (!cls) return nullptr;
  return propertiesForSubclass(cls, std::make_shared<OVNDictionary>(), excludeReadonly);
}

OVNDictionaryRef OVNApiObject::propertiesForHierarchyOfClass(const OVNClass* cls, const OVNDictionaryRef& dictionary,
                                                             bool excludeReadonly) {
  if (!cls) return nullptr;
  // From the class towards the root, later entries replacing earlier ones: the ancestor's
  // declaration wins. The root's own properties are never listed.
  for (const OVNClass* level = cls; level && level != &OVNObject::classObject(); level = level->superclass()) {
    propertiesForSubclass(level, dictionary, excludeReadonly);
  }
  return dictionary;
}

OVNDictionaryRef OVNApiObject::propertiesForSubclass(const OVNClass* cls, const OVNDictionaryRef& dictionary,
                                                     bool excludeReadonly) {
  if (!cls || !dictionary) return dictionary;
  for (const OVNProperty& property : cls->properties()) {
    if (excludeReadonly && property.isReadOnly()) continue;
    dictionary->set(property.name(), getPropertyType(property));
  }
  return dictionary;
}
