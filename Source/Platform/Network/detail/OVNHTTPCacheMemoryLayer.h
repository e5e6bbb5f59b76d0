#pragma once
// The cache's memory layer: entries by key, in order of use. An entry costs its body's
// length plus an estimate of its header fields; while the layer costs more than its
// capacity the least recently used entries go, and an entry costing more than a twentieth
// of the capacity is not kept at all. Thread-safe: every member takes the layer's mutex,
// and nothing here does I/O.

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "Platform/Network/detail/OVNHTTPCacheItem.h"

class OVNURLRequest;

namespace ovn::detail {

class OVNHTTPCacheMemoryLayer {
 public:
  using ItemRef = std::shared_ptr<const OVNHTTPCacheItem>;
  struct Lookup {
    ItemRef item;  // null: no entry, or one whose Vary the request does not match
    bool keyPresent = false;
    //! The layer's count of changes when looked up, for insertIfUnchanged().
    std::uint64_t generation = 0;
  };

  explicit OVNHTTPCacheMemoryLayer(std::uint64_t capacity) : capacity_(capacity) {}

  Lookup lookup(const std::string& key, const OVNURLRequest& request);
  //! Replaces the key's entry; an entry too costly to keep only removes the old one.
  void store(ItemRef item);
  //! Keeps an entry read from the disk layer, unless the layer changed since `generation`
  //! (a store that raced with the disk read must not be undone by an older copy).
  void insertIfUnchanged(ItemRef item, std::uint64_t generation);
  void remove(const std::string& key);
  void removeAll();
  void removeStoredSince(OVNDate date);

  std::uint64_t capacity() const;
  void setCapacity(std::uint64_t bytes);
  std::uint64_t usage() const;

  static std::uint64_t costOf(const OVNHTTPCacheItem& item);

 private:
  struct Slot {
    ItemRef item;
    std::uint64_t cost;
  };
  using Recency = std::list<Slot>;

  void insertLocked(ItemRef item);
  void eraseLocked(Recency::iterator slot);
  void evictLocked();

  mutable std::mutex mutex_;
  Recency recency_;  // most recently used first
  std::unordered_map<std::string, Recency::iterator> slots_;
  std::uint64_t capacity_;
  std::uint64_t usage_ = 0;
  std::uint64_t generation_ = 0;
};

}  // namespace ovn::detail
