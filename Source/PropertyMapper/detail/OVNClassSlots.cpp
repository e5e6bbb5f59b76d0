#include "PropertyMapper/detail/OVNClassSlots.h"

#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"

namespace ovn::detail {

std::shared_ptr<const OVNClassSlots> OVNClassSlots::build(const OVNClass& cls) {
  auto slots = std::make_shared<OVNClassSlots>();
  auto table = std::make_shared<OVNDictionary>();
  // The class first, then each ancestor over it: an ancestor's type string wins.
  for (const OVNClass* level = &cls; level; level = level->superclass()) {
    for (const OVNProperty& property : level->properties()) table->set(property.name(), getPropertyType(property));
  }
  for (const auto& [name, type] : *table)
    slots->slots_.emplace(name, OVNPropertySlot::resolve(cls, name, *type.string()));
  slots->properties_ = table->copy();
  return slots;
}

}  // namespace ovn::detail
