#pragma once
// An unordered collection of distinct values (NSSet / NSMutableSet), compared by the
// values' equality. Held by OVNSetRef. Not synchronised.

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNSet {
 public:
  using Storage = std::unordered_set<OVNValue>;

  explicit OVNSet(bool isMutable = true) : mutable_(isMutable) {}
  OVNSet(Storage members, bool isMutable) : members_(std::move(members)), mutable_(isMutable) {}
  static OVNSetRef make(std::initializer_list<OVNValue> members = {}, bool isMutable = true);

  bool isMutable() const { return mutable_; }
  std::size_t count() const { return members_.size(); }
  bool contains(const OVNValue& value) const { return members_.count(value) != 0; }
  std::vector<OVNValue> allObjects() const { return {members_.begin(), members_.end()}; }

  void add(OVNValue value);
  void remove(const OVNValue& value);
  void removeAll();

  const Storage& members() const { return members_; }
  auto begin() const { return members_.begin(); }
  auto end() const { return members_.end(); }

  OVNSetRef copy() const { return std::make_shared<OVNSet>(members_, false); }
  OVNSetRef mutableCopy() const { return std::make_shared<OVNSet>(members_, true); }

  bool isEqual(const OVNSet& other) const { return members_ == other.members_; }
  std::size_t hash() const { return members_.size(); }
  //! "{(\n    a,\n    b\n)}", members in ascending order of their descriptions.
  std::string descriptionWithIndent(int level) const;

 private:
  void requireMutable(const char* operation) const;

  Storage members_;
  bool mutable_;
};
