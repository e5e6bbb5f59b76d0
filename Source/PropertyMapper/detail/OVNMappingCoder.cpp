#include "PropertyMapper/detail/OVNMappingCoder.h"

#include <string>
#include <vector>

#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNOrderedSet.h"
#include "Platform/Values/OVNSet.h"
#include "PropertyMapper/NSMutableDictionary+OVNSafeValue.h"
#include "PropertyMapper/OVNPropertyMapper.h"

namespace ovn::detail {

namespace {

using Entry = OVNMappingTable::Entry;
using Descriptor = OVNPropertyDescriptor;

// What decoding one entry works with.
struct DecodeStep {
  OVNPropertyMapper& mapper;
  const OVNObjectRef& object;
  const Entry& entry;
  const OVNPropertySlot* slot;  // the descriptor's property on the object's class, or null
  const OVNValue& value;        // present and not null

  const Descriptor& descriptor() const { return *entry.descriptor; }
  const std::string& name() const { return entry.descriptor->propertyName(); }
};

// What encoding one entry works with.
struct EncodeStep {
  OVNPropertyMapper& mapper;
  const OVNObjectRef& object;  // null: every property is missing
  bool bound;                  // the object is of the table's bound class: read through slots
  const Entry& entry;
  OVNDictionary& target;  // where the entry's key is written
  std::uint64_t options;

  const Descriptor& descriptor() const { return *entry.descriptor; }
  const std::string& key() const { return entry.key; }
};

std::string nameOf(const OVNClass* cls) { return cls ? cls->name() : std::string("(null)"); }

// In place: encoding runs once per entry of every object, and a value is not free to move.
void makeNullWhenMissingAndAsked(OVNValue& property, std::uint64_t options) {
  if (property.isMissing() && options == OVNPropertyMapper::SerializeMissingAsNull) property = OVNValue::null();
}

// The descriptor's property on the object itself.
OVNValue ownProperty(const EncodeStep& step) {
  OVNValue property;
  if (step.object) {
    if (step.bound)
      property = step.entry.slot ? step.entry.slot->read(*step.object) : OVNValue();
    else
      property = step.mapper.getSafeValueForKey(step.descriptor().propertyName(), *step.object);
  }
  makeNullWhenMissingAndAsked(property, step.options);
  return property;
}

// ---- Plain: the value is the property ----------------------------------------------------

void decodePlain(const DecodeStep& step) { OVNPropertySlot::assign(step.slot, step.name(), *step.object, step.value); }

void encodePlain(const EncodeStep& step) { ovn_setSafeValue(step.target, ownProperty(step), step.key()); }

// ---- NestedObject: a dictionary is an object of propertyClass, an array a list of them ---

// classPropertyForInstance through a resolved slot: the nested object held in the
// property, or a new one made and stored there.
OVNObjectRef nestedObject(const DecodeStep& step) {
  if (!step.slot || !step.slot->isReachable()) return nullptr;
  const OVNValue current = step.slot->storedValue(*step.object);
  if (current.isPresent() && !current.isNull()) return current.object();
  const OVNClass* cls = step.descriptor().propertyClass();
  if (!cls) return nullptr;
  OVNObjectRef created = step.mapper._createObjectWithClass(*cls, OVNValue());
  if (created) OVNPropertySlot::assign(step.slot, step.name(), *step.object, created);
  return created;
}

OVNValue createdMembers(const DecodeStep& step, const OVNArray& array) {
  const OVNClass* cls = step.descriptor().propertyClass();
  std::vector<OVNValue> results;
  results.reserve(array.count());
  for (const OVNValue& element : array) {
    // Elements that are not dictionaries are skipped like elements the factory cannot
    // make, with the same line.
    OVNObjectRef created = element.isDictionary() && cls ? step.mapper._createObjectWithClass(*cls, element) : nullptr;
    if (!created) {
      OVNConsoleLog::writeFormat("**ERROR** Could not create instance of %@ in array for property %@", nameOf(cls),
                                 step.entry.key);
      continue;
    }
    results.emplace_back(std::move(created));
  }
  return OVNArray::make(std::move(results), true);
}

void decodeNestedObject(const DecodeStep& step) {
  if (step.value.isDictionary()) {
    if (auto nested = nestedObject(step)) step.mapper.updateObjectInstance(nested, step.value, nested->className());
  } else if (auto array = step.value.array()) {
    OVNPropertySlot::assign(step.slot, step.name(), *step.object, createdMembers(step, *array));
  }
}

// Members of collections are serialized with SerializeSkipMissing whatever was asked; only a
// single nested object inherits the options.
OVNValue serializeNested(OVNPropertyMapper& mapper, const OVNValue& value, std::uint64_t options) {
  std::vector<OVNValue> members;
  auto serializeAll = [&](auto begin, auto end) {
    for (auto it = begin; it != end; ++it) {
      OVNValue serialized = mapper.serializeObject(*it, OVNPropertyMapper::SerializeSkipMissing);
      if (serialized.isPresent()) members.push_back(std::move(serialized));
    }
    return OVNValue(OVNArray::make(std::move(members), true));
  };
  if (auto set = value.set()) return serializeAll(set->begin(), set->end());
  if (auto array = value.array()) return serializeAll(array->begin(), array->end());
  if (auto ordered = value.orderedSet()) return serializeAll(ordered->begin(), ordered->end());
  return mapper.serializeObject(value, options);
}

void encodeNestedObject(const EncodeStep& step) {
  ovn_setSafeValue(step.target, serializeNested(step.mapper, ownProperty(step), step.options), step.key());
}

// ---- NestedProperty: propertyName of the object held in classPropertyName ----------------

void decodeNestedProperty(const DecodeStep& step) {
  const Descriptor& descriptor = step.descriptor();
  if (auto holder =
          step.mapper.classPropertyForInstance(step.object, descriptor.classPropertyName(), descriptor.propertyClass()))
    step.mapper.setSafeValue(step.value, step.name(), *holder);
}

// Written under the key inside a dictionary named after the holder property; a holder
// key that is already taken by something else than a dictionary is left alone.
void encodeNestedProperty(const EncodeStep& step) {
  const Descriptor& descriptor = step.descriptor();
  OVNValue property;
  if (step.object) {
    if (auto holder = step.mapper.getSafeValueForKey(descriptor.classPropertyName(), *step.object).object())
      property = step.mapper.getSafeValueForKey(descriptor.propertyName(), *holder);
  }
  makeNullWhenMissingAndAsked(property, step.options);
  OVNDictionaryRef container = step.target.objectForKey(descriptor.classPropertyName()).dictionary();
  if (!container) {
    if (step.target.contains(descriptor.classPropertyName())) return;
    container = std::make_shared<OVNDictionary>();
    step.target.set(descriptor.classPropertyName(), container);
  }
  if (container->isMutable()) ovn_setSafeValue(*container, property, step.key());
}

// ---- Converted: the descriptor's blocks convert in each direction ------------------------

void decodeConverted(const DecodeStep& step) {
  const auto& decoding = step.descriptor().decodingBlock();
  if (decoding) OVNPropertySlot::assign(step.slot, step.name(), *step.object, decoding(step.value, step.name()));
}

void encodeConverted(const EncodeStep& step) {
  const auto& encoding = step.descriptor().encodingBlock();
  if (encoding) ovn_setSafeValue(step.target, encoding(ownProperty(step), step.key()), step.key());
}

// ---- WholeObject: the descriptor's blocks read and write the object itself ---------------

void decodeWholeObject(const DecodeStep& step) {
  const auto& consume = step.descriptor().decodingConsumerBlock();
  if (consume) consume(step.value, step.object);
}

void encodeWholeObject(const EncodeStep& step) {
  const auto& generate = step.descriptor().encodingGenerationBlock();
  if (generate) ovn_setSafeValue(step.target, generate(step.object), step.key());
}

}  // namespace

void OVNMappingCoder::decode(OVNPropertyMapper& mapper, const OVNMappingTable& table, const OVNClassSlots* objectSlots,
                             const OVNObjectRef& object, const OVNDictionaryRef& source) {
  const OVNValue whole(source);
  OVNValue scratch;
  for (const Entry& entry : table.entries()) {
    const Descriptor& descriptor = *entry.descriptor;
    if (!(descriptor.mode() & Descriptor::Decode) || descriptor.type() > Descriptor::WholeObject) continue;
    const OVNValue* found = entry.wholeSource ? &whole : entry.valueIn(*source, scratch);
    if (!found || found->isMissing() || found->isNull()) continue;
    const OVNPropertySlot* slot = objectSlots ? objectSlots->slot(descriptor.propertyName()) : entry.slot;
    const DecodeStep step{mapper, object, entry, slot, *found};
    switch (descriptor.type()) {
      case Descriptor::Plain: decodePlain(step); break;
      case Descriptor::NestedObject: decodeNestedObject(step); break;
      case Descriptor::NestedProperty: decodeNestedProperty(step); break;
      case Descriptor::Converted: decodeConverted(step); break;
      case Descriptor::WholeObject: decodeWholeObject(step); break;
      default: break;
    }
  }
}

void OVNMappingCoder::encode(OVNPropertyMapper& mapper, const OVNMappingTable& table, const OVNObjectRef& object,
                             std::uint64_t options, OVNDictionary& result) {
  const bool bound = object && table.boundClass() == &object->objectClass();
  for (const Entry& entry : table.entries()) {
    const Descriptor& descriptor = *entry.descriptor;
    if (!(descriptor.mode() & Descriptor::Encode)) continue;
    // The key's parent dictionaries are made even for kinds that then write nothing.
    OVNDictionary* target = entry.writeTarget(result);
    const EncodeStep step{mapper, object, bound, entry, *target, options};
    switch (descriptor.type()) {
      case Descriptor::Plain: encodePlain(step); break;
      case Descriptor::NestedObject: encodeNestedObject(step); break;
      case Descriptor::NestedProperty: encodeNestedProperty(step); break;
      case Descriptor::Converted: encodeConverted(step); break;
      case Descriptor::WholeObject: encodeWholeObject(step); break;
      default: break;  // unknown kinds write nothing
    }
  }
}

}  // namespace ovn::detail
