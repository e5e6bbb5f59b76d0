#pragma once
// Runs a mapping table in either direction: decoding a source dictionary into an object and
// encoding an object into a dictionary. Each descriptor kind has one decode and one encode
// function, side by side in the source, dispatched by one switch per direction.

#include <cstdint>

#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/detail/OVNClassSlots.h"
#include "PropertyMapper/detail/OVNMappingTable.h"

class OVNPropertyMapper;

namespace ovn::detail {

class OVNMappingCoder {
 public:
  //! Applies the entries that decode to `object`. `objectSlots` are the slots of the
  //! object's class, or null when the object is of the table's bound class. Missing and
  //! null source values leave properties as they are; unknown kinds are skipped.
  static void decode(OVNPropertyMapper& mapper, const OVNMappingTable& table, const OVNClassSlots* objectSlots,
                     const OVNObjectRef& object, const OVNDictionaryRef& source);
  //! Writes the entries that encode into `result`, reading `object` (null: every property
  //! is missing). `options` is one of the mapper's Serialize constants.
  static void encode(OVNPropertyMapper& mapper, const OVNMappingTable& table, const OVNObjectRef& object,
                     std::uint64_t options, OVNDictionary& result);
};

}  // namespace ovn::detail
