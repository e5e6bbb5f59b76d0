#include "Platform/Objects/OVNClass.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"

std::string getPropertyType(std::string_view attributes) {
  std::size_t start = 0;
  while (start <= attributes.size()) {
    std::size_t comma = attributes.find(',', start);
    if (comma == std::string_view::npos) comma = attributes.size();
    const std::string_view piece = attributes.substr(start, comma - start);
    if (!piece.empty() && piece.front() == 'T') {
      if (piece.size() < 2 || piece[1] != '@') return std::string(piece.substr(1));
      if (piece == "T@") return "id";
      if (piece.size() > 2 && piece[2] == '?') return "block";
      // T@"Name": drop T@" and the closing quote.
      if (piece.size() < 4) return "";
      return std::string(piece.substr(3, piece.size() - 4));
    }
    start = comma + 1;
  }
  return "";
}

std::string getPropertyType(const OVNProperty& property) { return getPropertyType(property.attributes()); }

OVNDictionaryRef ovn_propertiesDictionaryFromClass(const OVNClass& cls) {
  auto table = std::make_shared<OVNDictionary>();
  for (const OVNProperty& property : cls.properties()) table->set(property.name(), getPropertyType(property));
  return table->copy();
}

OVNValue ovn_wrappedValueForKey(const OVNObject& object, std::string_view key) {
  const OVNProperty* property = object.objectClass().property(key);
  // No getter: the object's own undefined-key handling reports the programming error.
  if (!property) return object.valueForKey(key);
  return ovn_wrappedValue(*property, object);
}

OVNValue ovn_wrappedValue(const OVNProperty& property, const OVNObject& object) {
  if (!property.typeEncoding().empty() && property.typeEncoding().front() == 'r') return {};
  // The accessors box by the member's type already: numbers keep their scalar kind,
  // structures become boxed bytes with their encoding, objects come back as they are.
  return property.get(object);
}
