#pragma once
// OVNNullCache: the cache contract that keeps nothing. A lookup with a content callback
// returns what the callback makes, calling it every time; every other lookup misses, and
// stores and removals do nothing. For code that takes a cache when the application wants
// none.
//
// Threads: any thread; it has no state.
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Cache/OVNCache.h"
#include "OvrinCoreExport.h"

class OVN_EXPORT OVNNullCache : public OVNCache {
  OVN_CLASS(OVNNullCache, OVNCache)

 public:
  OVNNullCache() = default;

  template <class Receiver = OVNNullCache>
  static std::shared_ptr<Receiver> initWithName(std::string name) {
    return OVNCache::initWithName<Receiver>(std::move(name));
  }
  template <class Receiver = OVNNullCache>
  static std::shared_ptr<Receiver> init() {
    return OVNCache::init<Receiver>();
  }
  //! The null caches' shared instance, named "OVNSharedCache" (see OVNMemoryCache).
  template <class Receiver = OVNNullCache>
  static std::shared_ptr<OVNNullCache> sharedCache() {
    return sharedCache(Receiver::classObject());
  }
  static std::shared_ptr<OVNNullCache> sharedCache(const OVNClass& receiver);

  using OVNCache::objectForKey;
  using OVNCache::setObject;

  bool objectExistsForKey(std::string_view) override { return false; }
  OVNValue objectForKey(std::string_view key, std::optional<OVNDate> expires, const ContentBlock& content) override;
  OVNValue objectInMemoryForKey(std::string_view key) override;
  void setObject(OVNValue, std::string_view, std::optional<OVNDate>) override {}
  void removeObjectForKey(std::string_view) override {}
  void removeAllObjects() override {}
};
