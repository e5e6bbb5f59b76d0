#pragma once
// OVNHTTPCache: the platform's HTTP response cache (NSURLCache). Responses are kept in a
// memory layer and, when the cache has a directory, in a disk layer whose index is an
// SQLite database beside one file per body; entries on disk survive the process. Each
// layer evicts its least recently used entries when it is over capacity. An entry larger
// than a twentieth of a layer's capacity is not kept in that layer.
//
// Entries are keyed by the request's URL without its fragment, one entry per URL. An
// entry stored for a response with "Vary" is found only by requests whose header fields
// named there have the values the stored request had; "Vary: *" matches no request, so
// such a response only removes the entry stored before it.
//
// Whether a response may be stored or served is the session's business (the HTTP caching
// rules); the cache stores what it is given, by its storage policy: allowed (memory and
// disk), allowed in memory only, not allowed (nothing is stored).
//
// Failure: a directory that cannot be made or used, a full disk, a corrupt or foreign
// index or body file make the disk layer store nothing or miss; each kind of failure is
// logged once on the console. A body whose bytes do not match what the index recorded is
// never served. docs/HTTP_CACHE.md describes the directory, its index and its failures.
//
// Thread-safe: any thread, the session's and the application's at once. No callbacks.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "OvrinCoreExport.h"
#include "Platform/Objects/OVNObject.h"
#include "Platform/Values/OVNDate.h"

class OVNCachedURLResponse;
class OVNURLRequest;

namespace ovn::detail {
class OVNHTTPCacheStore;
}

class OVN_EXPORT OVNHTTPCache : public OVNObject {
  OVN_CLASS_NAMED(OVNHTTPCache, OVNObject, "NSURLCache")

 public:
  static constexpr std::uint64_t defaultMemoryCapacity = 512 * 1024;
  static constexpr std::uint64_t defaultDiskCapacity = 10 * 1024 * 1024;
  //! The directory of the default shared cache, inside the application's caches directory.
  static constexpr const char* defaultDirectoryName = "URLCache";

  //! What the session keeps about a stored response: the response with its body, and
  //! when it was requested and received (for the age of the response).
  struct Entry {
    std::shared_ptr<OVNCachedURLResponse> cachedResponse;
    OVNDate requestDate;
    OVNDate responseDate;
  };

  OVNHTTPCache();
  ~OVNHTTPCache() override;

  //! `directory`: a name inside the application's caches directory, or an absolute path;
  //! none makes a cache in memory only. The directory is created when missing.
  static std::shared_ptr<OVNHTTPCache> cacheWithMemoryCapacity(std::uint64_t memoryCapacity, std::uint64_t diskCapacity,
                                                               std::optional<std::string> directory);

  //! The process-wide cache that sessions use unless their configuration names another.
  //! Made on first use with the default capacities and directory.
  static std::shared_ptr<OVNHTTPCache> sharedURLCache();
  //! Replaces the process-wide cache (null restores a default one on next use).
  static void setSharedURLCache(std::shared_ptr<OVNHTTPCache> cache);

  //! The stored response for the request, or null.
  std::shared_ptr<OVNCachedURLResponse> cachedResponseForRequest(const OVNURLRequest& request);
  //! Stores the response for the request's URL, replacing what was stored; the dates of
  //! the entry are now.
  void storeCachedResponse(std::shared_ptr<OVNCachedURLResponse> cachedResponse, const OVNURLRequest& request);
  void removeCachedResponseForRequest(const OVNURLRequest& request);
  void removeAllCachedResponses();
  //! Removes the entries stored (by the clock, whatever dates they carry) at or after `date`.
  void removeCachedResponsesSinceDate(OVNDate date);

  //! The stored entry for the request with its dates, or none.
  std::optional<Entry> entryForRequest(const OVNURLRequest& request);
  //! The entry when the memory layer holds it for the request, or none; never waits for
  //! the disk, so a session may ask it on any thread.
  std::optional<Entry> entryInMemoryForRequest(const OVNURLRequest& request);
  //! Stores an entry with the dates it carries.
  void storeEntry(const Entry& entry, const OVNURLRequest& request);

  //! Bytes. Lowering a capacity evicts at once.
  std::uint64_t memoryCapacity() const;
  void setMemoryCapacity(std::uint64_t bytes);
  std::uint64_t diskCapacity() const;
  void setDiskCapacity(std::uint64_t bytes);
  std::uint64_t currentMemoryUsage() const;
  std::uint64_t currentDiskUsage() const;
  //! The absolute path of the disk layer's directory; none for a cache in memory only,
  //! including one whose directory could not be used.
  std::optional<std::string> directory() const;

 private:
  std::unique_ptr<ovn::detail::OVNHTTPCacheStore> store_;
};

using OVNHTTPCacheRef = std::shared_ptr<OVNHTTPCache>;
