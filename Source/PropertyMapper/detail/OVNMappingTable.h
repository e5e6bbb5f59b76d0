#pragma once
// A registered mapping table, prepared once: the dictionary as given and its entries in
// table order, each with its key split at the dots, the positions where its key was last
// found in a payload, and (for the class the table was registered for) the property slot it
// writes. Mapping threads only read it; the position hints are atomics.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Objects/OVNClass.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyDescriptor.h"
#include "PropertyMapper/detail/OVNClassSlots.h"
#include "PropertyMapper/detail/OVNPropertySlot.h"

namespace ovn::detail {

class OVNMappingTable {
 public:
  struct Entry {
    std::string key;
    std::vector<std::string> components;  // the key split at its dots
    // Where each component was last found in its source dictionary. Payloads repeat one
    // shape, so the next dictionary usually holds the key at the same index and the lookup
    // costs one comparison. Shared by mapping threads: a stale hint only costs a search.
    std::unique_ptr<std::atomic<std::uint32_t>[]> hints;
    OVNPropertyDescriptorRef descriptor;
    bool wholeSource = false;  // a nested object built from the source itself ("*", "^...")
    // The descriptor's property on the bound class (null when that class lacks it), so
    // that mapping objects of exactly that class needs no lookups.
    const OVNPropertySlot* slot = nullptr;

    //! The value at the key path in `source`, or null when a level is absent. Levels are
    //! dictionaries; an array on the way collects its members' values (as key-value coding
    //! does) into `scratch`.
    const OVNValue* valueIn(const OVNDictionary& source, OVNValue& scratch) const;
    //! Where the key is written in `result`: the literal walk over its leading components
    //! (a missing component is created as an empty dictionary in the current target, which
    //! becomes the target; a present one leaves the target where it is).
    //! Inline for the usual one-component key, which writes into `result` itself.
    OVNDictionary* writeTarget(OVNDictionary& result) const {
      return components.size() <= 1 ? &result : walkToWriteTarget(result);
    }
    OVNDictionary* walkToWriteTarget(OVNDictionary& result) const;
  };

  OVNMappingTable() = default;
  //! The entries of `table` in its (sorted, hence stable) order; values that are not
  //! descriptors are left out (registration refuses them; ad-hoc tables given to validation
  //! skip them).
  explicit OVNMappingTable(OVNDictionaryRef table);

  //! Resolves each entry's slot on `cls`. `slots` must outlive the table.
  void bind(const OVNClass& cls, const OVNClassSlots& slots);

  const OVNDictionaryRef& table() const { return table_; }
  const std::vector<Entry>& entries() const { return entries_; }
  //! The class the entries' slots belong to; null when unbound.
  const OVNClass* boundClass() const { return boundClass_; }

  //! `source` with every mapped key taken out (top-level keys, and for dotted keys the last
  //! component inside its parent dictionary), as a fully mutable deep copy.
  OVNDictionaryRef unmappedRemainder(const OVNDictionaryRef& source) const;

 private:
  OVNDictionaryRef table_;
  std::vector<Entry> entries_;
  const OVNClass* boundClass_ = nullptr;
};

}  // namespace ovn::detail
