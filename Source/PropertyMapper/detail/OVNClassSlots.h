#pragma once
// The properties of one class as the mapper sees them: name -> type string of the class and
// its ancestors, and a resolved slot per name. Built once per class and then only read, so
// mapping threads share it without locking.

#include <memory>
#include <string_view>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Values/OVNDictionary.h"
#include "Platform/Values/OVNStringMap.h"
#include "PropertyMapper/detail/OVNPropertySlot.h"

namespace ovn::detail {

class OVNClassSlots {
 public:
  static std::shared_ptr<const OVNClassSlots> build(const OVNClass& cls);

  //! Name -> type string; immutable.
  const OVNDictionaryRef& properties() const { return properties_; }
  //! The slot of `name`, or null when the class has no such property.
  const OVNPropertySlot* slot(std::string_view name) const {
    auto found = slots_.find(name);
    return found == slots_.end() ? nullptr : &found->second;
  }

 private:
  OVNDictionaryRef properties_;
  OVNStringMap<OVNPropertySlot> slots_;
};

}  // namespace ovn::detail
