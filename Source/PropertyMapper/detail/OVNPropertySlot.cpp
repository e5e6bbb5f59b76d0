#include "PropertyMapper/detail/OVNPropertySlot.h"

#include "Logging/OVNLogger.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "PropertyMapper/NSObject+OVNPropertyIntrospection.h"

namespace ovn::detail {

namespace {

OVNPropertySlot::ArrayStorage arrayStorageFor(const std::string& type) {
  using Storage = OVNPropertySlot::ArrayStorage;
  if (type == "NSArray" || type == "NSMutableArray") return Storage::AsIs;
  if (type == "NSSet" || type == "NSMutableSet") return Storage::Set;
  if (type == "NSOrderedSet" || type == "NSMutableOrderedSet") return Storage::OrderedSet;
  return Storage::Refused;
}

OVNValue asSet(const OVNArray& members) {
  auto set = OVNSet::make({}, true);
  for (const OVNValue& member : members) set->add(member);
  return set;
}

OVNValue asOrderedSet(const OVNArray& members) {
  auto ordered = OVNOrderedSet::make({}, true);
  for (const OVNValue& member : members) ordered->add(member);
  return ordered;
}

}  // namespace

OVNPropertySlot OVNPropertySlot::resolve(const OVNClass& cls, std::string_view name, std::string typeString) {
  OVNPropertySlot slot;
  slot.property_ = cls.property(name);
  slot.arrayStorage_ = arrayStorageFor(typeString);
  slot.clearedByNil_ = OVNClass::named(typeString) != nullptr;
  slot.typeString_ = std::move(typeString);
  return slot;
}

OVNValue OVNPropertySlot::read(const OVNObject& object) const {
  return property_ ? ovn_wrappedValue(*property_, object) : OVNValue();
}

OVNValue OVNPropertySlot::storedValue(const OVNObject& object) const {
  return property_ ? property_->get(object) : OVNValue();
}

void OVNPropertySlot::assign(const OVNPropertySlot* slot, std::string_view name, OVNObject& object,
                             const OVNValue& value) {
  if (value.isMissing() || value.isNull()) {
    if (slot && slot->clearedByNil_) slot->store(object, name, OVNValue());
    return;
  }
  if (!slot) {
    // Arrays are refused silently; anything else is logged as unwritable.
    if (!value.isArray()) logUnwritable(object, name);
    return;
  }
  const OVNArray* array = value.arrayPointer();
  if (!array) {
    slot->store(object, name, value);
    return;
  }
  switch (slot->arrayStorage_) {
    case ArrayStorage::AsIs: slot->store(object, name, value); break;
    case ArrayStorage::Set: slot->store(object, name, asSet(*array)); break;
    case ArrayStorage::OrderedSet: slot->store(object, name, asOrderedSet(*array)); break;
    case ArrayStorage::Refused: break;
  }
}

void OVNPropertySlot::logUnwritable(const OVNObject& object, std::string_view name) {
  OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ has no writable property %@", object.className(), name);
}

// Stores through the property; observed objects go through key-value coding so their
// observers hear of the change. A value the member cannot hold is not stored.
void OVNPropertySlot::store(OVNObject& object, std::string_view name, const OVNValue& value) const {
  if (!property_ || property_->isReadOnly()) {
    logUnwritable(object, name);
    return;
  }
  if (object.hasObservers()) {
    try {
      object.setValue(value, name);
    } catch (const OVNException& e) {
      OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ not stored in %@.%@: %@", value.className(),
                     object.className(), name, e.reason());
    }
    return;
  }
  // A missing value for a scalar (Nil) leaves it as it is.
  if (property_->set(object, value) == OVNPropertyAccessor::SetResult::Mismatch) {
    OVNLogger::log(OVNLogLevelDebug, "OVNPropertyMapper: %@ does not fit %@.%@ (%@)", value.className(),
                   object.className(), name, typeString_);
  }
}

}  // namespace ovn::detail
