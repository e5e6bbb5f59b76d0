#pragma once
// OVNMemoryCache: the cache contract kept in memory only, in an evictable memory store
// (internalCache, OVNMemoryStore, without limits) that maps each key to an OVNCachedContent.
// Expired content is removed when a lookup finds it.
//
// Kept on purpose: a lookup that hits memory asks the value it found once more for its
// `object`. So a hit yields a value only when the stored value itself carries an `object`
// (an OVNCachedContent, or any object with an "object" property); for any other stored
// value the hit raises the platform's unknown-operation error (OVNException,
// NSInvalidArgumentException, "-[<class> object]: unrecognized selector sent to instance
// ..."). A value made by the content callback is returned as it is. Read values back with
// objectInMemoryForKey, which unwraps once.
//
// Threads: any thread. Each operation is one store access; a lookup with fill is not
// atomic (two threads that miss at once both call their callbacks; the later store wins).
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Cache/OVNCache.h"
#include "OvrinCoreExport.h"

class OVNMemoryStore;
namespace ovn::detail {
class OVNCacheMemoryLayer;
}

class OVN_EXPORT OVNMemoryCache : public OVNCache {
  OVN_CLASS(OVNMemoryCache, OVNCache)

 public:
  OVNMemoryCache();
  ~OVNMemoryCache() override;

  template <class Receiver = OVNMemoryCache>
  static std::shared_ptr<Receiver> initWithName(std::string name) {
    return OVNCache::initWithName<Receiver>(std::move(name));
  }
  template <class Receiver = OVNMemoryCache>
  static std::shared_ptr<Receiver> init() {
    return OVNCache::init<Receiver>();
  }
  //! The memory caches' shared instance, named "OVNSharedCache": made once per process, as
  //! a `Receiver`, by whichever call comes first (from any thread).
  template <class Receiver = OVNMemoryCache>
  static std::shared_ptr<OVNMemoryCache> sharedCache() {
    return sharedCache(Receiver::classObject());
  }
  static std::shared_ptr<OVNMemoryCache> sharedCache(const OVNClass& receiver);

  using OVNCache::objectForKey;
  using OVNCache::setObject;

  //! Whether a record is stored and has not expired (true for a stored value that cannot
  //! expire). Removes nothing.
  bool objectExistsForKey(std::string_view key) override;
  OVNValue objectForKey(std::string_view key, std::optional<OVNDate> expires, const ContentBlock& content) override;
  //! The stored record's value; an expired record is removed and gives missing.
  OVNValue objectInMemoryForKey(std::string_view key) override;
  //! Stores a new record of `object` (a missing one too) and `expires`.
  void setObject(OVNValue object, std::string_view key, std::optional<OVNDate> expires) override;
  void removeObjectForKey(std::string_view key) override;
  void removeAllObjects() override;

  //! The memory store behind the cache.
  OVNMemoryStore& internalCache() const;

 protected:
  void setUpWithName(std::string name) override;

 private:
  std::unique_ptr<ovn::detail::OVNCacheMemoryLayer> memory_;
};

using OVNMemoryCacheRef = std::shared_ptr<OVNMemoryCache>;
