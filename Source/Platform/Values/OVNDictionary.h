#pragma once
// A string-keyed dictionary (NSDictionary / NSMutableDictionary). Keys are kept in sorted
// order, so iteration, descriptions and written JSON are deterministic. Held by
// OVNDictionaryRef; mutating an immutable dictionary is a programming error. Not
// synchronised.

#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNDictionaryStorage.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNDictionary {
 public:
  using Storage = OVNDictionaryStorage;

  explicit OVNDictionary(bool isMutable = true) : mutable_(isMutable) {}
  OVNDictionary(Storage entries, bool isMutable) : entries_(std::move(entries)), mutable_(isMutable) {}

  static OVNDictionaryRef make(std::initializer_list<std::pair<std::string, OVNValue>> entries = {},
                               bool isMutable = true);

  bool isMutable() const { return mutable_; }
  std::size_t count() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  //! The value for `key`, or missing.
  OVNValue objectForKey(std::string_view key) const;
  OVNValue operator[](std::string_view key) const { return objectForKey(key); }
  bool contains(std::string_view key) const { return entries_.find(key) != entries_.end(); }
  //! Keys in ascending order.
  std::vector<std::string> allKeys() const;
  std::vector<OVNValue> allValues() const;

  //! Stores `value` under `key`; a missing value removes the key (setValue:forKey:).
  void set(std::string_view key, OVNValue value);
  void remove(std::string_view key);
  void removeAll();
  void addEntries(const OVNDictionary& other);

  //! Dotted key paths through nested dictionaries (and objects, by key-value coding).
  OVNValue valueForKeyPath(std::string_view keyPath) const;
  //! Stores at a dotted key path; every intermediate level must exist and be a mutable
  //! dictionary (or an object), else nothing is stored.
  void setValueForKeyPath(OVNValue value, std::string_view keyPath);

  const Storage& entries() const { return entries_; }
  auto begin() const { return entries_.begin(); }
  auto end() const { return entries_.end(); }

  OVNDictionaryRef copy() const { return std::make_shared<OVNDictionary>(entries_, false); }
  OVNDictionaryRef mutableCopy() const { return std::make_shared<OVNDictionary>(entries_, true); }

  bool isEqual(const OVNDictionary& other) const;
  std::size_t hash() const { return entries_.size(); }
  std::string descriptionWithIndent(int level) const;

 private:
  void requireMutable(const char* operation) const;

  Storage entries_;
  bool mutable_;
};
