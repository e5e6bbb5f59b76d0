#pragma once
// OVNURLCache: the library's owner of the platform's HTTP response cache, with its own
// capacities and directory ("OvrinCache" in the application's caches directory), and
// lookups that say how old a stored response is and give its body as bytes or an image.
// API clients install the shared instance's cache as the process-wide one, so every
// response of a session passes through it.
//
// Threads: any thread; the `cache` slot is guarded, the platform cache is thread-safe.
// Missing results: an age of -1 when nothing (or no "Date") is stored, null bytes or
// image when nothing is stored.

#include <cstdint>
#include <memory>
#include <mutex>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"

class OVNHTTPCache;
class OVNURLRequest;
class OVNData;
class OVNImage;
class OVNDateFormatter;

class OVN_EXPORT OVNURLCache : public OVNObject {
  OVN_CLASS(OVNURLCache, OVNObject)

 public:
  static constexpr std::uint64_t defaultMemoryCapacity = 4194304;  // 4 MiB
  static constexpr std::uint64_t defaultDiskCapacity = 52428800;   // 50 MiB
  static constexpr const char* diskPath = "OvrinCache";
  static constexpr const char* ageDateFormat = "EEE, dd MMM yyyy HH:mm:ss zzz";
  //! Seconds; accepted by cachedImageForRequest and, as intended, not applied.
  static constexpr double defaultImageMaximumAge = 86400;

  OVNURLCache() = default;

  //! The process's instance, made once with the default capacities as a new `Receiver`
  //! (the class on which it is first called); later calls return it whatever they name.
  template <class Receiver = OVNURLCache>
  static std::shared_ptr<OVNURLCache> sharedCache() {
    return sharedCache(Receiver::classObject());
  }
  //! As above with a run-time class; one that is not an OVNURLCache (sub)class is a
  //! programming error (NSInvalidArgumentException).
  static std::shared_ptr<OVNURLCache> sharedCache(const OVNClass& receiver);

  std::shared_ptr<OVNHTTPCache> cache() const;
  void setCache(std::shared_ptr<OVNHTTPCache> cache);

  //! Replaces `cache` with a new platform cache of these capacities on the "OvrinCache"
  //! directory; what the old one stored stays on disk for the new one.
  void setMemoryCapacity(std::uint64_t memoryCapacity, std::uint64_t diskCapacity);

  //! Seconds between now and the stored response's "Date" (absolute); -1 when nothing or
  //! no "Date" is stored; 0 when the "Date" does not parse.
  double cachedResponseAgeForRequest(const std::shared_ptr<OVNURLRequest>& request);
  //! The stored body, after a console line "Has cached response for request <URL>, age=<n>".
  std::shared_ptr<const OVNData> cachedDataForRequest(const std::shared_ptr<OVNURLRequest>& request);
  std::shared_ptr<OVNImage> cachedImageForRequest(const std::shared_ptr<OVNURLRequest>& request);
  //! `maxAge` is accepted and deliberately not applied: an older body is decoded all the same.
  std::shared_ptr<OVNImage> cachedImageForRequest(const std::shared_ptr<OVNURLRequest>& request, double maxAge);

 protected:
  //! Sets the default capacities.
  void didCreate() override;

 private:
  static OVNDateFormatter& ageFormatter();

  mutable std::mutex mutex_;
  std::shared_ptr<OVNHTTPCache> cache_;
};
