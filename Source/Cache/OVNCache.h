#pragma once
// OVNCache: the cache contract. Keys are strings; each value is kept in an OVNCachedContent
// with an optional expiry (see OVNExpirable for the rule). A lookup may bring a content
// callback that makes the value on a miss; the cache then stores what it made, with the
// expiry the lookup gave. Implementations: OVNMemoryCache, OVNDiskCache and OVNNullCache.
//
// This base is abstract in behaviour: objectForKey(key, expires, content),
// setObject(object, key, expires), removeObjectForKey and removeAllObjects raise
// OVNException (NSInternalInconsistencyException, "You must override <selector> in a
// subclass") unless a subclass overrides them. Every other lookup and store funnels into
// those two. A subclass that overrides one overload adds `using OVNCache::objectForKey;`
// (and `setObject`) so that the others stay visible, as C++ hides them otherwise.
//
// Making a cache: Class::initWithName(name), or Class::init() (named after the class, for
// example "OVNDiskCache"); a subclass of yours is made with Class::initWithName<Yours>(name)
// and sets itself up by overriding setUpWithName.
//
// Threads: the caches of the library may be used from any thread (see each class). A
// content callback runs on the calling thread, at most once per lookup, and only when the
// lookup found nothing usable. maxFilesize may be read and set from any thread.
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

class OVN_EXPORT OVNCache : public OVNObject {
  OVN_CLASS(OVNCache, OVNObject)

 public:
  //! Makes the value of a lookup that missed; a missing result stores nothing.
  using ContentBlock = std::function<OVNValue()>;

  OVNCache() = default;
  ~OVNCache() override;

  //! A new `Receiver` named `name` (copied).
  template <class Receiver = OVNCache>
  static std::shared_ptr<Receiver> initWithName(std::string name) {
    auto cache = OVNMake<Receiver>();
    static_cast<OVNCache&>(*cache).setUpWithName(std::move(name));
    return cache;
  }
  //! A new `Receiver` named after its class.
  template <class Receiver = OVNCache>
  static std::shared_ptr<Receiver> init() {
    return initWithName<Receiver>(std::string(Receiver::ovnClassName));
  }

  //! The cache's name; it also names the memory store and, for a disk cache, its directory.
  const std::string& name() const { return name_; }
  //! Size limit in bytes; 0 (the default) means none.
  std::uint64_t maxFilesize() const { return maxFilesize_.load(std::memory_order_relaxed); }
  //! Stores a new limit and then runs trimFileSize; setting the limit it has does nothing.
  void setMaxFilesize(std::uint64_t maxFilesize);
  //! Bytes the cache occupies; the base yields 0.
  virtual std::uint64_t currentFilesize() const { return 0; }

  //! Whether objectForKey(key) yields a value.
  virtual bool objectExistsForKey(std::string_view key);

  //! objectForKey(key, no expiry, no callback).
  OVNValue objectForKey(std::string_view key);
  //! objectForKey(key, no expiry, content).
  OVNValue objectForKey(std::string_view key, const ContentBlock& content);
  //! objectForKey(key, now + expiresIn seconds, content).
  OVNValue objectForKey(std::string_view key, double expiresIn, const ContentBlock& content);
  //! The value under `key`, else what `content` makes (stored with `expires`), else missing.
  //! `expires` only dates content made by the callback; it never filters the lookup.
  virtual OVNValue objectForKey(std::string_view key, std::optional<OVNDate> expires, const ContentBlock& content);
  //! The value held in memory for `key`; the base holds nothing.
  virtual OVNValue objectInMemoryForKey(std::string_view key);

  //! setObject(object, key, no expiry).
  void setObject(OVNValue object, std::string_view key);
  //! setObject(object, key, now + expiresIn seconds).
  void setObject(OVNValue object, std::string_view key, double expiresIn);
  //! Stores `object` under `key` until `expires` (absent: for good).
  virtual void setObject(OVNValue object, std::string_view key, std::optional<OVNDate> expires);

  virtual void removeObjectForKey(std::string_view key);
  virtual void removeAllObjects();
  //! Drops expired content where an implementation keeps it; the base does nothing.
  virtual void removeExpiredObjects() {}
  //! With a limit set and currentFilesize above it, empties the whole cache through
  //! removeAllObjects (no eviction by age or use). Runs only from setMaxFilesize.
  virtual void trimFileSize();

 protected:
  //! What initialisation with a name does; an override calls the base first.
  virtual void setUpWithName(std::string name);
  //! The shared instance of `Slot`'s own slot, made once per process as a `receiver` named
  //! "OVNSharedCache"; a receiver that is not a concrete kind of `Slot` is a programming
  //! error. Instantiated only inside the library, by each class's sharedCache.
  template <class Slot>
  static std::shared_ptr<Slot> sharedInstance(const OVNClass& receiver) {
    static std::once_flag once;
    static std::shared_ptr<Slot> shared;
    std::call_once(once,
                   [&] { shared = std::static_pointer_cast<Slot>(makeSharedInstance(receiver, Slot::classObject())); });
    return shared;
  }
  static OVNObjectRef makeSharedInstance(const OVNClass& receiver, const OVNClass& base);
  [[noreturn]] void mustOverride(std::string_view selector) const;

 private:
  std::string name_;
  std::atomic<std::uint64_t> maxFilesize_{0};
};

using OVNCacheRef = std::shared_ptr<OVNCache>;

//! The name every shared cache instance is made with.
inline constexpr std::string_view OVNSharedCacheName = "OVNSharedCache";
