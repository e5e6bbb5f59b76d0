#pragma once
// One stored response as both layers hold it: its key, what its "Vary" asks of requests,
// the entry the session gave, and when it was stored. Immutable once made; shared between
// the layers and the threads that read it.

#include <cstdint>
#include <string>

#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/detail/OVNHTTPCacheVary.h"
#include "Platform/Values/OVNDate.h"

namespace ovn::detail {

//! An entry may take at most this share of a layer's capacity (a twentieth).
inline constexpr std::uint64_t kHTTPCacheLargestEntryDivisor = 20;

struct OVNHTTPCacheItem {
  std::string key;
  OVNHTTPCacheVary vary;
  OVNHTTPCache::Entry entry;
  OVNDate storedDate;
};

}  // namespace ovn::detail
