#include "NSArray+OVNApiObject.h"
#include "NSObject+OVNApiObject.h"
#include "OVNApiObject.h"
#include "Platform/Objects/OVNClass.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"

namespace {

OVNValue dictionaryValue(const OVNObject& object, const std::string& name) {
  OVNValue value = object.valueForKey(name);
  switch (value.kind()) {
    case OVNValueKind::String:
    case OVNValueKind::Number:
    case OVNValueKind::Null: return value;
    case OVNValueKind::Array:
      if (auto converted = ovn_toDictionary(value.array())) return converted;
      return ovn_wrappedValueForKey(object, name);
    case OVNValueKind::Object:
      if (auto model = value.objectAs<OVNApiObject>()) {
        if (auto converted = model->toDictionary()) return converted;
        return ovn_wrappedValueForKey(object, name);
      }
      return value;
    case OVNValueKind::Missing: return ovn_wrappedValueForKey(object, name);
    default: return value;
  }
}

}  // namespace

OVNDictionaryRef ovn_toDictionary(const OVNObject& object) {
  auto result = std::make_shared<OVNDictionary>();
  for (const OVNClass* level = &object.objectClass(); level && level != &OVNObject::classObject();
       level = level->superclass()) {
    for (const OVNProperty& property : level->properties()) {
      OVNValue value = dictionaryValue(object, property.name());
      result->set(property.name(), value.isMissing() ? OVNValue::null() : std::move(value));
    }
  }
  return result;
}
