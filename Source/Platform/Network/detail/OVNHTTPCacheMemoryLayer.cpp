#include "Platform/Network/detail/OVNHTTPCacheMemoryLayer.h"

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/detail/OVNHTTPCacheMetadata.h"
#include "Platform/Values/OVNData.h"

namespace ovn::detail {

namespace {

// What an entry costs beyond its bytes: the objects that hold it.
constexpr std::uint64_t kEntryOverheadBytes = 128;

}  // namespace

std::uint64_t OVNHTTPCacheMemoryLayer::costOf(const OVNHTTPCacheItem& item) {
  const OVNCachedURLResponse& cached = *item.entry.cachedResponse;
  return cached.data()->length() + OVNHTTPCacheMetadata::estimatedHeaderSize(cached) + item.vary.estimatedSize() +
         item.key.size() + kEntryOverheadBytes;
}

OVNHTTPCacheMemoryLayer::Lookup OVNHTTPCacheMemoryLayer::lookup(const std::string& key, const OVNURLRequest& request) {
  std::lock_guard guard(mutex_);
  Lookup result;
  result.generation = generation_;
  auto found = slots_.find(key);
  if (found == slots_.end()) return result;
  result.keyPresent = true;
  if (!found->second->item->vary.matches(request)) return result;
  recency_.splice(recency_.begin(), recency_, found->second);
  result.item = found->second->item;
  return result;
}

void OVNHTTPCacheMemoryLayer::store(ItemRef item) {
  std::lock_guard guard(mutex_);
  ++generation_;
  insertLocked(std::move(item));
}

void OVNHTTPCacheMemoryLayer::insertIfUnchanged(ItemRef item, std::uint64_t generation) {
  std::lock_guard guard(mutex_);
  if (generation != generation_) return;
  ++generation_;
  insertLocked(std::move(item));
}

void OVNHTTPCacheMemoryLayer::remove(const std::string& key) {
  std::lock_guard guard(mutex_);
  ++generation_;
  auto found = slots_.find(key);
  if (found != slots_.end()) eraseLocked(found->second);
}

void OVNHTTPCacheMemoryLayer::removeAll() {
  std::lock_guard guard(mutex_);
  ++generation_;
  recency_.clear();
  slots_.clear();
  usage_ = 0;
}

void OVNHTTPCacheMemoryLayer::removeStoredSince(OVNDate date) {
  std::lock_guard guard(mutex_);
  ++generation_;
  for (auto slot = recency_.begin(); slot != recency_.end();) {
    auto next = std::next(slot);
    if (slot->item->storedDate.timeIntervalSinceDate(date) >= 0) eraseLocked(slot);
    slot = next;
  }
}

std::uint64_t OVNHTTPCacheMemoryLayer::capacity() const {
  std::lock_guard guard(mutex_);
  return capacity_;
}

void OVNHTTPCacheMemoryLayer::setCapacity(std::uint64_t bytes) {
  std::lock_guard guard(mutex_);
  capacity_ = bytes;
  evictLocked();
}

std::uint64_t OVNHTTPCacheMemoryLayer::usage() const {
  std::lock_guard guard(mutex_);
  return usage_;
}

void OVNHTTPCacheMemoryLayer::insertLocked(ItemRef item) {
  auto found = slots_.find(item->key);
  if (found != slots_.end()) eraseLocked(found->second);
  std::uint64_t cost = costOf(*item);
  if (cost > capacity_ / kHTTPCacheLargestEntryDivisor) return;
  recency_.push_front({item, cost});
  slots_.emplace(item->key, recency_.begin());
  usage_ += cost;
  evictLocked();
}

void OVNHTTPCacheMemoryLayer::eraseLocked(Recency::iterator slot) {
  usage_ -= slot->cost;
  slots_.erase(slot->item->key);
  recency_.erase(slot);
}

void OVNHTTPCacheMemoryLayer::evictLocked() {
  while (usage_ > capacity_ && !recency_.empty()) eraseLocked(std::prev(recency_.end()));
}

}  // namespace ovn::detail
