#pragma once
// The memory layer of the memory and disk caches: an OVNMemoryStore without limits, mapping
// keys to OVNCachedContent records, with the lookups both caches share.
// Threads: any thread, as the store itself.
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Cache/OVNCachedContent.h"
#include "Platform/System/OVNMemoryStore.h"

namespace ovn::detail {

class OVNCacheMemoryLayer {
 public:
  OVNCacheMemoryLayer() = default;

  OVNMemoryStore& store() { return store_; }
  void setName(std::string name) { store_.setName(std::move(name)); }

  //! The record under `key` as it is, expired or not; null when none (or when something
  //! other than a record was put into the store directly).
  OVNCachedContentRef record(std::string_view key);
  //! The record's value unless it has expired; an expired record is removed first.
  OVNValue unexpiredObject(std::string_view key);
  //! Whether the stored record has not expired (true for a value that cannot expire);
  //! nullopt when nothing is stored. Removes nothing.
  std::optional<bool> holdsUnexpired(std::string_view key);
  //! Stores a new record of `object` and `expires`, and returns it.
  OVNCachedContentRef put(std::string_view key, OVNValue object, std::optional<OVNDate> expires);
  void remove(std::string_view key) { store_.removeObjectForKey(key); }
  void removeAll() { store_.removeAllObjects(); }

 private:
  OVNMemoryStore store_;
};

}  // namespace ovn::detail
