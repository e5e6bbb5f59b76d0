#include "Platform/Network/detail/OVNHTTPCacheStore.h"

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNFileManager.h"

namespace ovn::detail {

namespace {

bool isAbsolutePath(const std::string& path) { return !path.empty() && path.front() == '/'; }

}  // namespace

OVNHTTPCacheStore::OVNHTTPCacheStore(std::uint64_t memoryCapacity, std::uint64_t diskCapacity,
                                     std::optional<std::string> directory)
    : memory_(memoryCapacity), diskCapacity_(diskCapacity) {
  if (directory) disk_ = openDiskLayer(*directory, diskCapacity);
}

std::unique_ptr<OVNHTTPCacheDiskLayer> OVNHTTPCacheStore::openDiskLayer(const std::string& directory,
                                                                        std::uint64_t capacity) {
  std::string path = directory;
  if (!isAbsolutePath(directory)) {
    std::optional<std::string> caches = OVNFileManager::cachesDirectory();
    if (!caches) {
      OVNConsoleLog::writeFormat("OVNHTTPCache: no caches directory to hold %@; the cache works in memory only",
                                 directory);
      return nullptr;
    }
    path = *caches + "/" + directory;
  }
  if (!OVNFileManager::createDirectoryAtPath(path, true)) {
    OVNConsoleLog::writeFormat("OVNHTTPCache: cannot create the directory %@; the cache works in memory only", path);
    return nullptr;
  }
  return OVNHTTPCacheDiskLayer::open(path, capacity);
}

std::optional<std::string> OVNHTTPCacheStore::keyFor(const OVNURLRequest& request) {
  if (!request.URL()) return std::nullopt;
  const std::string& text = request.URL()->absoluteString();
  return text.substr(0, text.find('#'));
}

std::optional<OVNHTTPCache::Entry> OVNHTTPCacheStore::lookup(const OVNURLRequest& request) {
  std::optional<std::string> key = keyFor(request);
  if (!key) return std::nullopt;
  OVNHTTPCacheMemoryLayer::Lookup inMemory = memory_.lookup(*key, request);
  if (inMemory.item) return inMemory.item->entry;
  // Both layers hold the same entry for a key, so one memory has refused is refused.
  if (inMemory.keyPresent || !disk_) return std::nullopt;
  OVNHTTPCacheDiskLayer::ItemRef item = disk_->lookup(*key, request);
  if (!item) return std::nullopt;
  memory_.insertIfUnchanged(item, inMemory.generation);
  return item->entry;
}

std::optional<OVNHTTPCache::Entry> OVNHTTPCacheStore::lookupInMemory(const OVNURLRequest& request) {
  std::optional<std::string> key = keyFor(request);
  if (!key) return std::nullopt;
  OVNHTTPCacheMemoryLayer::Lookup inMemory = memory_.lookup(*key, request);
  if (!inMemory.item) return std::nullopt;
  return inMemory.item->entry;
}

void OVNHTTPCacheStore::store(const OVNHTTPCache::Entry& entry, const OVNURLRequest& request) {
  std::optional<std::string> key = keyFor(request);
  if (!key || !entry.cachedResponse) return;
  OVNURLCacheStoragePolicy policy = entry.cachedResponse->storagePolicy();
  if (policy != OVNURLCacheStorageAllowed && policy != OVNURLCacheStorageAllowedInMemoryOnly) return;
  auto item = std::make_shared<const OVNHTTPCacheItem>(OVNHTTPCacheItem{
      *key, OVNHTTPCacheVary::fromExchange(entry.cachedResponse->response().get(), request), entry, OVNDate::now()});
  std::lock_guard order(writeOrder_);
  if (item->vary.matchesNothing()) {
    // No request could be given this entry: it only displaces the one stored before.
    if (disk_) disk_->remove(*key);
    memory_.remove(*key);
    return;
  }
  if (disk_ && policy == OVNURLCacheStorageAllowed) disk_->store(*item);
  if (disk_ && policy == OVNURLCacheStorageAllowedInMemoryOnly) disk_->remove(*key);
  memory_.store(std::move(item));
}

void OVNHTTPCacheStore::remove(const OVNURLRequest& request) {
  std::optional<std::string> key = keyFor(request);
  if (!key) return;
  std::lock_guard order(writeOrder_);
  if (disk_) disk_->remove(*key);
  memory_.remove(*key);
}

void OVNHTTPCacheStore::removeAll() {
  std::lock_guard order(writeOrder_);
  if (disk_) disk_->removeAll();
  memory_.removeAll();
}

void OVNHTTPCacheStore::removeStoredSince(OVNDate date) {
  std::lock_guard order(writeOrder_);
  if (disk_) disk_->removeStoredSince(date);
  memory_.removeStoredSince(date);
}

std::uint64_t OVNHTTPCacheStore::diskCapacity() const { return diskCapacity_.load(); }

void OVNHTTPCacheStore::setDiskCapacity(std::uint64_t bytes) {
  diskCapacity_.store(bytes);
  if (disk_) disk_->setCapacity(bytes);
}

std::optional<std::string> OVNHTTPCacheStore::directory() const {
  if (!disk_) return std::nullopt;
  return disk_->directory();
}

}  // namespace ovn::detail
