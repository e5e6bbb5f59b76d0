// Every test program starts with a process-wide response cache that keeps nothing and a
// caches directory of its own, so a session test sees the network unless it gives its
// session a cache, and no test reads (or leaves) what another run stored in the user's
// caches directory. API clients install the library's cache when they are made; it then
// lives in that private directory.
#include <gtest/gtest.h>

#include <optional>

#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/System/OVNFileManager.h"
#include "Support/TemporaryDirectory.h"

namespace {

class SharedCacheIsolation : public ::testing::Environment {
 public:
  void SetUp() override {
    caches_ = std::make_unique<TemporaryDirectory>("ovrin-test-caches");
    OVNFileManager::setCachesDirectory(caches_->path());
    OVNHTTPCache::setSharedURLCache(OVNHTTPCache::cacheWithMemoryCapacity(0, 0, std::nullopt));
  }
  void TearDown() override {
    OVNFileManager::setCachesDirectory(std::nullopt);
    caches_.reset();
  }

 private:
  std::unique_ptr<TemporaryDirectory> caches_;
};

[[maybe_unused]] const ::testing::Environment* const installed =
    ::testing::AddGlobalTestEnvironment(new SharedCacheIsolation);

}  // namespace
