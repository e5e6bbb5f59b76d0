#include "Platform/Network/OVNHTTPCache.h"

#include <mutex>

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/detail/OVNHTTPCacheStore.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNHTTPCache, (memoryCapacity, setMemoryCapacity), (diskCapacity, setDiskCapacity), currentMemoryUsage,
               currentDiskUsage)

namespace {

std::mutex sharedCacheMutex;  // guards sharedCache
std::shared_ptr<OVNHTTPCache> sharedCache;

}  // namespace

OVNHTTPCache::OVNHTTPCache()
    : store_(
          std::make_unique<ovn::detail::OVNHTTPCacheStore>(defaultMemoryCapacity, defaultDiskCapacity, std::nullopt)) {}

OVNHTTPCache::~OVNHTTPCache() = default;

std::shared_ptr<OVNHTTPCache> OVNHTTPCache::cacheWithMemoryCapacity(std::uint64_t memoryCapacity,
                                                                    std::uint64_t diskCapacity,
                                                                    std::optional<std::string> directory) {
  auto cache = OVNMake<OVNHTTPCache>();
  cache->store_ = std::make_unique<ovn::detail::OVNHTTPCacheStore>(memoryCapacity, diskCapacity, std::move(directory));
  return cache;
}

std::shared_ptr<OVNHTTPCache> OVNHTTPCache::sharedURLCache() {
  std::lock_guard guard(sharedCacheMutex);
  if (!sharedCache) {
    sharedCache =
        cacheWithMemoryCapacity(defaultMemoryCapacity, defaultDiskCapacity, std::string(defaultDirectoryName));
  }
  return sharedCache;
}

void OVNHTTPCache::setSharedURLCache(std::shared_ptr<OVNHTTPCache> cache) {
  std::lock_guard guard(sharedCacheMutex);
  sharedCache = std::move(cache);
}

std::shared_ptr<OVNCachedURLResponse> OVNHTTPCache::cachedResponseForRequest(const OVNURLRequest& request) {
  std::optional<Entry> entry = store_->lookup(request);
  return entry ? entry->cachedResponse : nullptr;
}

void OVNHTTPCache::storeCachedResponse(std::shared_ptr<OVNCachedURLResponse> cachedResponse,
                                       const OVNURLRequest& request) {
  OVNDate now = OVNDate::now();
  store_->store(Entry{std::move(cachedResponse), now, now}, request);
}

void OVNHTTPCache::removeCachedResponseForRequest(const OVNURLRequest& request) { store_->remove(request); }

void OVNHTTPCache::removeAllCachedResponses() { store_->removeAll(); }

void OVNHTTPCache::removeCachedResponsesSinceDate(OVNDate date) { store_->removeStoredSince(date); }

std::optional<OVNHTTPCache::Entry> OVNHTTPCache::entryForRequest(const OVNURLRequest& request) {
  return store_->lookup(request);
}

std::optional<OVNHTTPCache::Entry> OVNHTTPCache::entryInMemoryForRequest(const OVNURLRequest& request) {
  return store_->lookupInMemory(request);
}

void OVNHTTPCache::storeEntry(const Entry& entry, const OVNURLRequest& request) { store_->store(entry, request); }

std::uint64_t OVNHTTPCache::memoryCapacity() const { return store_->memoryCapacity(); }

void OVNHTTPCache::setMemoryCapacity(std::uint64_t bytes) { store_->setMemoryCapacity(bytes); }

std::uint64_t OVNHTTPCache::diskCapacity() const { return store_->diskCapacity(); }

void OVNHTTPCache::setDiskCapacity(std::uint64_t bytes) { store_->setDiskCapacity(bytes); }

std::uint64_t OVNHTTPCache::currentMemoryUsage() const { return store_->memoryUsage(); }

std::uint64_t OVNHTTPCache::currentDiskUsage() const { return store_->diskUsage(); }

std::optional<std::string> OVNHTTPCache::directory() const { return store_->directory(); }
