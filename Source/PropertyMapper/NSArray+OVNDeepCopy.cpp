#include "PropertyMapper/NSArray+OVNDeepCopy.h"
#include "PropertyMapper/NSDictionary+OVNDeepCopy.h"

OVNValue ovn_mutableDeepCopyOfMember(const OVNValue& member) {
  if (auto dictionary = member.dictionary()) return ovn_mutableDeepCopy(dictionary);
  if (auto array = member.array()) return ovn_mutableDeepCopy(array);
  // mutableCopy() falls back to copy(), which gives the member itself when it has no copy.
  return member.mutableCopy();
}

OVNArrayRef ovn_deepCopy(const OVNArrayRef& array) {
  if (!array) return nullptr;
  std::vector<OVNValue> members;
  members.reserve(array->count());
  for (const OVNValue& member : *array) members.push_back(member.copy());
  return OVNArray::make(std::move(members), true);
}

OVNArrayRef ovn_mutableDeepCopy(const OVNArrayRef& array) {
  if (!array) return nullptr;
  std::vector<OVNValue> members;
  members.reserve(array->count());
  for (const OVNValue& member : *array) members.push_back(ovn_mutableDeepCopyOfMember(member));
  return OVNArray::make(std::move(members), true);
}
