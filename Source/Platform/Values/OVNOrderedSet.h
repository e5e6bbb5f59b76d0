#pragma once
// Distinct values in insertion order (NSOrderedSet / NSMutableOrderedSet). Held by
// OVNOrderedSetRef. Not synchronised.

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNOrderedSet {
 public:
  explicit OVNOrderedSet(bool isMutable = true) : mutable_(isMutable) {}
  static OVNOrderedSetRef make(std::initializer_list<OVNValue> members = {}, bool isMutable = true);

  bool isMutable() const { return mutable_; }
  std::size_t count() const { return members_.size(); }
  const OVNValue& at(std::size_t index) const;
  bool contains(const OVNValue& value) const { return index_.count(value) != 0; }
  std::size_t indexOfObject(const OVNValue& value) const;

  //! Adds at the end unless an equal member is present.
  void add(OVNValue value);
  void remove(const OVNValue& value);
  void removeAll();

  const std::vector<OVNValue>& members() const { return members_; }
  auto begin() const { return members_.begin(); }
  auto end() const { return members_.end(); }

  OVNOrderedSetRef copy() const;
  OVNOrderedSetRef mutableCopy() const;

  bool isEqual(const OVNOrderedSet& other) const;
  std::size_t hash() const { return members_.size(); }
  std::string descriptionWithIndent(int level) const;

 private:
  void requireMutable(const char* operation) const;

  std::vector<OVNValue> members_;
  std::unordered_set<OVNValue> index_;
  bool mutable_;
};
