#pragma once
// An ordered list of values (NSArray / NSMutableArray). Held by OVNArrayRef; a mutation of
// an immutable array, or an index out of range, is a programming error (OVNException).
// Not synchronised.

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNArray {
 public:
  explicit OVNArray(bool isMutable = true) : mutable_(isMutable) {}
  OVNArray(std::vector<OVNValue> members, bool isMutable) : members_(std::move(members)), mutable_(isMutable) {}

  static OVNArrayRef make(std::initializer_list<OVNValue> members = {}, bool isMutable = true);
  static OVNArrayRef make(std::vector<OVNValue> members, bool isMutable = true);

  bool isMutable() const { return mutable_; }
  std::size_t count() const { return members_.size(); }
  bool empty() const { return members_.empty(); }
  //! The member at `index`; out of range throws NSRangeException.
  const OVNValue& at(std::size_t index) const;
  const OVNValue& operator[](std::size_t index) const { return at(index); }
  //! First / last member, or missing when empty.
  OVNValue firstObject() const;
  OVNValue lastObject() const;
  bool containsObject(const OVNValue& value) const;
  //! Index of the first equal member, or npos.
  std::size_t indexOfObject(const OVNValue& value) const;
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  // Mutations (mutable arrays only). Adding a missing value is a programming error, as
  // inserting nil is on the platform.
  void add(OVNValue value);
  void insert(OVNValue value, std::size_t index);
  void replace(std::size_t index, OVNValue value);
  void removeAt(std::size_t index);
  void removeObject(const OVNValue& value);
  void removeAll();
  void addAll(const OVNArray& other);

  const std::vector<OVNValue>& members() const { return members_; }
  auto begin() const { return members_.begin(); }
  auto end() const { return members_.end(); }

  OVNArrayRef copy() const { return std::make_shared<OVNArray>(members_, false); }
  OVNArrayRef mutableCopy() const { return std::make_shared<OVNArray>(members_, true); }

  bool isEqual(const OVNArray& other) const;
  std::size_t hash() const { return members_.size(); }
  std::string descriptionWithIndent(int level) const;

 private:
  void requireMutable(const char* operation) const;
  void requireValue(const OVNValue& value, const char* operation) const;

  std::vector<OVNValue> members_;
  bool mutable_;
};
