#include "Cache/OVNNullCache.h"

#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNNullCache)

std::shared_ptr<OVNNullCache> OVNNullCache::sharedCache(const OVNClass& receiver) {
  return sharedInstance<OVNNullCache>(receiver);
}

OVNValue OVNNullCache::objectForKey(std::string_view, std::optional<OVNDate>, const ContentBlock& content) {
  return content ? content() : OVNValue();
}

OVNValue OVNNullCache::objectInMemoryForKey(std::string_view key) {
  return objectForKey(key, std::nullopt, ContentBlock());
}
