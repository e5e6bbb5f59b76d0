#include "Cache/OVNCache.h"

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Values/OVNFormat.h"

OVN_PROPERTIES(OVNCache, name, (maxFilesize, setMaxFilesize), currentFilesize)

OVNCache::~OVNCache() = default;

void OVNCache::setUpWithName(std::string name) { name_ = std::move(name); }

OVNObjectRef OVNCache::makeSharedInstance(const OVNClass& receiver, const OVNClass& base) {
  if (!receiver.isSubclassOfClass(base) || receiver.isAbstract()) {
    OVNException::raise(OVNInvalidArgumentException,
                        OVNFormat("%@ cannot make a shared %@", receiver.name(), base.name()));
  }
  auto cache = std::dynamic_pointer_cast<OVNCache>(receiver.createInstance());
  cache->setUpWithName(std::string(OVNSharedCacheName));
  return cache;
}

void OVNCache::mustOverride(std::string_view selector) const {
  OVNException::raise(OVNInternalInconsistencyException, OVNFormat("You must override %@ in a subclass", selector));
}

void OVNCache::setMaxFilesize(std::uint64_t maxFilesize) {
  if (maxFilesize_.exchange(maxFilesize) == maxFilesize) return;
  trimFileSize();
}

void OVNCache::trimFileSize() {
  const std::uint64_t limit = maxFilesize();
  if (limit == 0) return;
  if (currentFilesize() > limit) removeAllObjects();
}

bool OVNCache::objectExistsForKey(std::string_view key) { return objectForKey(key).isPresent(); }

OVNValue OVNCache::objectForKey(std::string_view key) { return objectForKey(key, std::nullopt, ContentBlock()); }

OVNValue OVNCache::objectForKey(std::string_view key, const ContentBlock& content) {
  return objectForKey(key, std::nullopt, content);
}

OVNValue OVNCache::objectForKey(std::string_view key, double expiresIn, const ContentBlock& content) {
  return objectForKey(key, OVNDate::dateWithTimeIntervalSinceNow(expiresIn), content);
}

OVNValue OVNCache::objectForKey(std::string_view, std::optional<OVNDate>, const ContentBlock&) {
  mustOverride("objectForKey:expires:withContent:");
}

OVNValue OVNCache::objectInMemoryForKey(std::string_view) { return {}; }

void OVNCache::setObject(OVNValue object, std::string_view key) { setObject(std::move(object), key, std::nullopt); }

void OVNCache::setObject(OVNValue object, std::string_view key, double expiresIn) {
  setObject(std::move(object), key, OVNDate::dateWithTimeIntervalSinceNow(expiresIn));
}

void OVNCache::setObject(OVNValue, std::string_view, std::optional<OVNDate>) {
  mustOverride("setObject:forKey:expires:");
}

void OVNCache::removeObjectForKey(std::string_view) { mustOverride("removeObjectForKey:"); }

void OVNCache::removeAllObjects() { mustOverride("removeAllObjects"); }
