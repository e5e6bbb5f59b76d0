#include "Cache/OVNNullCache.h"

#include "Platform/Dispatch/OVNOnce.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNProperties.h"

OVN_PROPERTIES(OVNNullCache)

std::shared_ptr<OVNNullCache> OVNNullCache::sharedCache(const OVNClass& receiver) {
  static OVNOnce once;
  static std::shared_ptr<OVNNullCache> shared;
  once.run([&] {
    shared = std::static_pointer_cast<OVNNullCache>(makeSharedInstance(receiver, OVNNullCache::classObject()));
  });
  return shared;
}

OVNValue OVNNullCache::objectForKey(std::string_view, std::optional<OVNDate>, const ContentBlock& content) {
  return content ? content() : OVNValue();
}

OVNValue OVNNullCache::objectInMemoryForKey(std::string_view key) {
  return objectForKey(key, std::nullopt, ContentBlock());
}
