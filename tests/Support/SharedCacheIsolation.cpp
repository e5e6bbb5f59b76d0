// Every test program starts with a process-wide response cache that keeps nothing, so a
// session test sees the network unless it gives its session a cache of its own, and no
// test reads what an earlier run left in the user's caches directory.
#include <gtest/gtest.h>

#include <optional>

#include "Platform/Network/OVNHTTPCache.h"

namespace {

class SharedCacheIsolation : public ::testing::Environment {
 public:
  void SetUp() override { OVNHTTPCache::setSharedURLCache(OVNHTTPCache::cacheWithMemoryCapacity(0, 0, std::nullopt)); }
};

[[maybe_unused]] const ::testing::Environment* const installed =
    ::testing::AddGlobalTestEnvironment(new SharedCacheIsolation);

}  // namespace
