#include "PropertyMapper/NSArray+OVNDeepCopy.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"

OVNDictionaryRef ovn_deepCopy(const OVNDictionaryRef& dictionary) {
  if (!dictionary) return nullptr;
  OVNDictionary::Storage entries = dictionary->entries();
  for (auto& entry : entries) entry.second = entry.second.copy();
  return std::make_shared<OVNDictionary>(std::move(entries), true);
}

OVNDictionaryRef ovn_mutableDeepCopy(const OVNDictionaryRef& dictionary) {
  if (!dictionary) return nullptr;
  OVNDictionary::Storage entries = dictionary->entries();
  for (auto& entry : entries) entry.second = ovn_mutableDeepCopyOfMember(entry.second);
  return std::make_shared<OVNDictionary>(std::move(entries), true);
}
