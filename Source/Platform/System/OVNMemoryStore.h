#pragma once
// OVNMemoryStore: the platform's evictable in-memory key-to-value store (NSCache). Keys
// are strings, values any OVNValue.
//
// Without limits (the default) a store keeps what it is given until it is told to remove
// it, or until the application signals memory pressure by posting
// OVNApplicationDidReceiveMemoryWarningNotification on the default notification centre:
// every live store then drops the least recently used half of its entries. With a count
// limit or a total-cost limit, a store that goes over one evicts its least recently used
// entries, one at a time, until it is within both again; an entry just stored counts as
// the most recently used, so a single entry costlier than the whole limit is evicted at
// once, as the platform does.
//
// Recency: lookups and stores mark an entry used. While a limit is set, every use is also
// time-stamped, so eviction follows the order of use across the whole store; without a
// limit the order is kept per shard only (see below), which is what memory pressure uses.
//
// Threads: any thread, all operations. The entries are spread over shards, each with its
// own lock, so lookups from several threads do not serialise on one lock. No lock is held
// while a value is destroyed: values that leave the store (replaced, removed, evicted) are
// released after the shard's lock is let go, so their destructors may use the store.
//
// Memory: about 100 bytes per entry besides the key's text and the value.
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Values/OVNValue.h"

class OVN_EXPORT OVNMemoryStore {
 public:
  explicit OVNMemoryStore(std::string name = {});
  ~OVNMemoryStore();
  OVNMemoryStore(const OVNMemoryStore&) = delete;
  OVNMemoryStore& operator=(const OVNMemoryStore&) = delete;

  //! A label for diagnostics; empty unless given.
  std::string name() const;
  void setName(std::string name);

  //! The value stored under `key` (marked used), or missing.
  OVNValue objectForKey(std::string_view key);
  //! Calls `visit` with the value stored under `key` (marked used) in place, without copying
  //! it, and answers whether there was one. `visit` runs under the shard's lock: it must not
  //! use this store, and should only read and copy what it needs. For readers that want a
  //! part of a shared value, whose copy would cost a reference count that other threads
  //! write too.
  template <class Visit>
  bool visitObjectForKey(std::string_view key, const Visit& visit) {
    return visitObjectForKey(
        key, [](const void* context, const OVNValue& value) { (*static_cast<const Visit*>(context))(value); }, &visit);
  }
  //! As above, with the visitor as a plain function and its context (no allocation, no
  //! indirection beyond the one call).
  bool visitObjectForKey(std::string_view key, void (*visit)(const void* context, const OVNValue& value),
                         const void* context);
  //! Stores `object` under `key` with cost 0, replacing an earlier value. A missing
  //! `object` removes the key instead.
  void setObject(OVNValue object, std::string_view key);
  //! As setObject, with a cost counted against totalCostLimit.
  void setObject(OVNValue object, std::string_view key, std::uint64_t cost);
  void removeObjectForKey(std::string_view key);
  void removeAllObjects();

  //! The most entries kept; 0 (the default) means no limit. Lowering it evicts at once.
  std::uint64_t countLimit() const;
  void setCountLimit(std::uint64_t limit);
  //! The largest sum of costs kept; 0 (the default) means no limit. Lowering it evicts at once.
  std::uint64_t totalCostLimit() const;
  void setTotalCostLimit(std::uint64_t limit);

  //! Entries held now, and the sum of their costs. Read without stopping writers, so only
  //! exact while nobody stores or removes.
  std::uint64_t count() const;
  std::uint64_t totalCost() const;

  class Impl;  // defined in the .cpp

 private:
  // Shared with the memory-pressure registry, which holds it weakly.
  std::shared_ptr<Impl> impl_;
};
