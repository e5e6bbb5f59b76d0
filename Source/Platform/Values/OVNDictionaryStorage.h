#pragma once
// The entries of an OVNDictionary (its Storage): key/value pairs in one vector sorted by key. Dictionaries
// are small and mostly built whole (JSON objects, property lists, parameters), so one
// allocation and a binary search beat a node per entry; a bulk build sorts once.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNDictionaryStorage {
 public:
  using value_type = std::pair<std::string, OVNValue>;
  using iterator = std::vector<value_type>::iterator;
  using const_iterator = std::vector<value_type>::const_iterator;

  OVNDictionaryStorage() = default;
  //! Entries in any order; a repeated key keeps the value that comes last.
  static OVNDictionaryStorage fromUnsorted(std::vector<value_type> entries);
  //! Entries whose keys are already strictly ascending, taken as they are. For bulk builders
  //! (the JSON reader) that sort cheaper references before making the entries; the order is
  //! not checked, and finding keys in storage out of order gives wrong answers.
  static OVNDictionaryStorage fromSortedUnique(std::vector<value_type> entries) {
    OVNDictionaryStorage storage;
    storage.entries_ = std::move(entries);
    return storage;
  }

  std::size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  iterator begin() { return entries_.begin(); }
  iterator end() { return entries_.end(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }

  iterator find(std::string_view key);
  const_iterator find(std::string_view key) const;
  //! Stores `value` under `key`, replacing an existing value; true when the key is new.
  bool insert_or_assign(std::string key, OVNValue value);
  bool emplace(std::string key, OVNValue value) { return insert_or_assign(std::move(key), std::move(value)); }
  void erase(const_iterator position) { entries_.erase(position); }
  void clear() { entries_.clear(); }

  friend bool operator==(const OVNDictionaryStorage&, const OVNDictionaryStorage&) = default;

 private:
  std::vector<value_type> entries_;
};
