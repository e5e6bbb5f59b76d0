#include <gtest/gtest.h>
#include <stb/stb_image_write.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Categories/NSCachedURLResponse+OvrinCore.h"
#include "Networking/OVNURLCache.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Network/OVNURLRequest.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/OVNImage.h"
#include "Platform/Text/OVNLocale.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"

namespace {

// 2026-11-23 12:00:00 UTC, and the same instant as a "Date" field.
constexpr double noon = 1795435200.0 - 978307200.0;
constexpr const char* noonField = "Mon, 23 Nov 2026 12:00:00 GMT";

std::string png() {
  std::string encoded;
  const unsigned char pixels[4] = {255, 0, 0, 255};
  stbi_write_png_to_func(
      [](void* out, void* data, int size) { static_cast<std::string*>(out)->append(static_cast<char*>(data), size); },
      &encoded, 1, 1, 4, pixels, 0);
  return encoded;
}

// The caches directory and the locale, set for the life of a fixture.
struct Surroundings {
  Surroundings() : previousCaches(OVNFileManager::cachesDirectory()) {
    OVNFileManager::setCachesDirectory(directory.path());
    OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  }
  ~Surroundings() {
    OVNLocale::setCurrentLocale(nullptr);
    OVNFileManager::setCachesDirectory(previousCaches);
  }
  std::optional<std::string> previousCaches;
  TemporaryDirectory directory{"ovrin-urlcache"};
};

class OVNURLCacheTest : public ::testing::Test {
 protected:
  std::shared_ptr<OVNURLRequest> store(const std::string& path, OVNDictionaryRef fields, const std::string& body) {
    auto url = OVNURL::URLWithString("http://127.0.0.1/" + path);
    auto request = OVNURLRequest::requestWithURL(url);
    cache->cache()->storeCachedResponse(
        OVNCachedURLResponse::cachedResponseWithResponse(
            OVNHTTPURLResponse::responseWithURL(url, 200, "HTTP/1.1", fields), OVNData::fromString(body)),
        *request);
    return request;
  }

  Surroundings surroundings;
  const TemporaryDirectory& directory = surroundings.directory;
  OVNTestClock clock{noon};
  std::shared_ptr<OVNURLCache> cache = OVNMake<OVNURLCache>();
};

}  // namespace

TEST_F(OVNURLCacheTest, OwnsAPlatformCacheWithItsCapacitiesAndDirectory) {
  EXPECT_EQ(cache->cache()->memoryCapacity(), 4194304u);
  EXPECT_EQ(cache->cache()->diskCapacity(), 52428800u);
  EXPECT_EQ(cache->cache()->directory(), directory.path() + "/OvrinCache");

  auto request = store("kept", OVNDictionary::make({{"Date", noonField}}), "kept");
  auto previous = cache->cache();
  cache->setMemoryCapacity(1024, 2 * 1024 * 1024);
  EXPECT_NE(cache->cache(), previous);
  EXPECT_EQ(cache->cache()->memoryCapacity(), 1024u);
  ASSERT_NE(cache->cachedDataForRequest(request), nullptr);  // from the disk the old one wrote
  EXPECT_EQ(cache->cachedDataForRequest(request)->view(), "kept");

  EXPECT_EQ(OVNURLCache::sharedCache(), OVNURLCache::sharedCache());
}

TEST_F(OVNURLCacheTest, ReportsAgesFromTheDateFieldAndLogsEachLookupThatFinds) {
  struct Case {
    const char* path;
    OVNDictionaryRef fields;
    double age;
  };
  const std::vector<Case> cases{
      {"now", OVNDictionary::make({{"Date", noonField}}), 0},
      {"future", OVNDictionary::make({{"Date", "Mon, 23 Nov 2026 12:00:30 GMT"}}), 30},
      {"past", OVNDictionary::make({{"Date", "Mon, 23 Nov 2026 11:00:00 GMT"}}), 3600},
      {"undated", OVNDictionary::make({{"Content-Type", "text/plain"}}), -1},
      {"unreadable", OVNDictionary::make({{"Date", "Monday noon"}}), 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    auto request = store(c.path, c.fields, c.path);
    EXPECT_DOUBLE_EQ(cache->cachedResponseAgeForRequest(request), c.age);
    ConsoleCapture console;
    EXPECT_EQ(cache->cachedDataForRequest(request)->view(), c.path);
    EXPECT_EQ(console.lines(),
              std::vector<std::string>{"Has cached response for request http://127.0.0.1/" + std::string(c.path) +
                                       ", age=" + std::to_string(static_cast<int>(c.age))});
  }

  auto missing = OVNURLRequest::requestWithURL(OVNURL::URLWithString("http://127.0.0.1/missing"));
  ConsoleCapture console;
  EXPECT_EQ(cache->cachedResponseAgeForRequest(missing), -1.0);
  EXPECT_EQ(cache->cachedDataForRequest(missing), nullptr);
  EXPECT_EQ(cache->cachedImageForRequest(missing), nullptr);
  EXPECT_TRUE(console.lines().empty());

  // Day and month names are read in the current locale.
  OVNLocale::setCurrentLocale(OVNLocale::localeWithLocaleIdentifier("de_DE"));
  EXPECT_EQ(cache->cachedResponseAgeForRequest(store("german", OVNDictionary::make({{"Date", noonField}}), "x")), 0.0);
}

TEST_F(OVNURLCacheTest, DecodesImagesWhateverTheirAge) {
  auto old = store("old.png", OVNDictionary::make({{"Date", "Mon, 16 Nov 2026 12:00:00 GMT"}}), png());
  auto image = cache->cachedImageForRequest(old, 1);
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->width(), 1);
  EXPECT_EQ(cache->cachedImageForRequest(store("text", OVNDictionary::make(), "not an image")), nullptr);
}

TEST(NSCachedURLResponseOvrinCoreTest, ForcesALifetimeByRewritingTheFields) {
  auto url = OVNURL::URLWithString("http://127.0.0.1/forced");
  auto fields = OVNDictionary::make({{"Cache-Control", "no-cache, private"},
                                     {"Expires", "Mon, 23 Nov 2026 12:00:00 GMT"},
                                     {"s-maxage", "9"},
                                     {"ETag", "\"a\""}});
  auto original = OVNCachedURLResponse::cachedResponseWithResponse(
      OVNHTTPURLResponse::responseWithURL(url, 203, "HTTP/2", fields), OVNData::fromString("body"), nullptr,
      OVNURLCacheStorageAllowedInMemoryOnly);

  for (auto [interval, expected] : std::vector<std::pair<double, const char*>>{
           {90.9, "max-age=90"}, {-1.5, "max-age=-1"}, {0, "max-age=0"}, {1e30, "max-age=2147483647"}}) {
    auto forced = ovn_responseWithExpirationInterval(*original, interval);
    auto response = std::dynamic_pointer_cast<OVNHTTPURLResponse>(forced->response());
    ASSERT_NE(response, nullptr);
    const auto& written = *response->allHeaderFields();
    EXPECT_EQ(written["Cache-Control"].description(), expected);
    EXPECT_FALSE(written.contains("Expires"));
    EXPECT_FALSE(written.contains("s-maxage"));
    EXPECT_EQ(written["ETag"].description(), "\"a\"");
    EXPECT_EQ(response->statusCode(), 203);
    EXPECT_EQ(response->HTTPVersion(), "HTTP/1.1");
    EXPECT_EQ(forced->data()->view(), "body");
    EXPECT_TRUE(forced->userInfo()->isEqual(written));
    EXPECT_EQ(forced->storagePolicy(), OVNURLCacheStorageAllowedInMemoryOnly);
  }
  EXPECT_EQ((*std::dynamic_pointer_cast<OVNHTTPURLResponse>(original->response())->allHeaderFields())["Expires"]
                .description(),
            "Mon, 23 Nov 2026 12:00:00 GMT");
}
