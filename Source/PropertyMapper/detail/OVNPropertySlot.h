#pragma once
// What reading and storing one property of one class needs, resolved once per class so that
// mapping many objects repeats no lookups. Storing follows the mapper's safe-value rules:
// values a member cannot hold are logged (DEBUG) and dropped, never thrown.

#include <string>
#include <string_view>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNObject.h"

namespace ovn::detail {

class OVNPropertySlot {
 public:
  //! How an array is stored into a property of the slot's type.
  enum class ArrayStorage { AsIs, Set, OrderedSet, Refused };

  //! The property `name` of `cls`, whose type string is `typeString`.
  static OVNPropertySlot resolve(const OVNClass& cls, std::string_view name, std::string typeString);

  const std::string& typeString() const { return typeString_; }
  //! Whether key-value coding reaches the property at all.
  bool isReachable() const { return property_ != nullptr; }

  //! The member's value as its accessor returns it.
  OVNValue storedValue(const OVNObject& object) const;

  //! The property as a dynamic value (ovn_wrappedValue); missing when key-value coding
  //! cannot reach it.
  OVNValue read(const OVNObject& object) const;

  //! Stores `value` into `name` of `object` through `slot` (null: the class has no such
  //! property). Missing and null clear properties of known object classes only; arrays
  //! become sets or ordered sets where the type asks for one and are refused by other
  //! non-array properties.
  static void assign(const OVNPropertySlot* slot, std::string_view name, OVNObject& object, const OVNValue& value);

 private:
  void store(OVNObject& object, std::string_view name, const OVNValue& value) const;
  static void logUnwritable(const OVNObject& object, std::string_view name);

  std::string typeString_;
  const OVNProperty* property_ = nullptr;  // the declaration key-value coding reaches
  ArrayStorage arrayStorage_ = ArrayStorage::Refused;
  bool clearedByNil_ = false;  // the type names a known class
};

}  // namespace ovn::detail
