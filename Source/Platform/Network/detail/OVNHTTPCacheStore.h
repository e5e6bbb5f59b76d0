#pragma once
// What OVNHTTPCache does: keys requests, reads each response's Vary, and keeps entries in
// the memory layer and, when the cache has a usable directory, in the disk layer.
//
// Thread-safe. Lookups take each layer's mutex in turn, never both. Stores and removals
// are serialized by the store's write-order mutex and reach the disk layer before the
// memory layer, so that a lookup putting a disk entry into memory cannot bring back an
// entry that a concurrent store replaced (see OVNHTTPCacheMemoryLayer::insertIfUnchanged).

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/detail/OVNHTTPCacheDiskLayer.h"
#include "Platform/Network/detail/OVNHTTPCacheMemoryLayer.h"

namespace ovn::detail {

class OVNHTTPCacheStore {
 public:
  //! `directory`: absolute, or relative to the caches directory; none for memory only. A
  //! directory that cannot be named, made or used leaves the store in memory only (logged).
  OVNHTTPCacheStore(std::uint64_t memoryCapacity, std::uint64_t diskCapacity, std::optional<std::string> directory);

  std::optional<OVNHTTPCache::Entry> lookup(const OVNURLRequest& request);
  //! The entry when the memory layer holds it for the request; never touches the disk.
  std::optional<OVNHTTPCache::Entry> lookupInMemory(const OVNURLRequest& request);
  void store(const OVNHTTPCache::Entry& entry, const OVNURLRequest& request);
  void remove(const OVNURLRequest& request);
  void removeAll();
  void removeStoredSince(OVNDate date);

  std::uint64_t memoryCapacity() const { return memory_.capacity(); }
  void setMemoryCapacity(std::uint64_t bytes) { memory_.setCapacity(bytes); }
  std::uint64_t diskCapacity() const;
  void setDiskCapacity(std::uint64_t bytes);
  std::uint64_t memoryUsage() const { return memory_.usage(); }
  std::uint64_t diskUsage() const { return disk_ ? disk_->usage() : 0; }
  std::optional<std::string> directory() const;

  //! The request's URL without its fragment; none without a URL.
  static std::optional<std::string> keyFor(const OVNURLRequest& request);

 private:
  static std::unique_ptr<OVNHTTPCacheDiskLayer> openDiskLayer(const std::string& directory, std::uint64_t capacity);

  std::mutex writeOrder_;  // held by stores and removals, across both layers
  OVNHTTPCacheMemoryLayer memory_;
  std::unique_ptr<OVNHTTPCacheDiskLayer> disk_;  // null: memory only; set once, in the constructor
  std::atomic<std::uint64_t> diskCapacity_;      // what was asked, also without a disk layer
};

}  // namespace ovn::detail
