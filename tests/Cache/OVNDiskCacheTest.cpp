#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "Cache/OVNDiskCache.h"
#include "Observation.h"
#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/OVNMemoryStore.h"
#include "Platform/Values/OVNData.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"
#include "WeatherMappings.h"

namespace {

namespace fs = std::filesystem;

class OVNDiskCacheTest : public ::testing::Test {
 protected:
  void SetUp() override {
    saved = OVNFileManager::cachesDirectory();
    OVNFileManager::setCachesDirectory(caches);
  }
  void TearDown() override { OVNFileManager::setCachesDirectory(saved); }

  // A cache after its construction's clean-up has run.
  OVNDiskCacheRef makeCache(const std::string& name = "disk") {
    auto cache = OVNDiskCache::initWithName(name);
    cache->waitUntilFilesAreWritten();
    return cache;
  }
  // The key's file's bytes once queued work has run; nullopt when there is none.
  static std::optional<std::string> fileOf(const OVNDiskCacheRef& cache, const std::string& key) {
    cache->waitUntilFilesAreWritten();
    return OVNFileManager::contentsAtPath(*cache->directory()->path() + "/" + key);
  }
  static void setModificationTime(const std::string& path, double secondsSince1970) {
    const timespec times[2] = {{0, UTIME_OMIT}, {static_cast<time_t>(secondsSince1970), 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }

  TemporaryDirectory temporary{"ovn-disk-cache"};
  const std::string caches = temporary.path() + "/caches";
  std::optional<std::string> saved;
};

TEST_F(OVNDiskCacheTest, StoresAreSeenAtOnceAndReadBackFromTheirFiles) {
  ConsoleCapture console;
  auto cache = makeCache("My Cache");
  const std::string directory = caches + "/My%20Cache";
  EXPECT_EQ(cache->directory()->path(), directory);
  EXPECT_EQ(console.lines().at(0), "OVNDiskCache - Creating disk cache in directory: " + directory);
  EXPECT_TRUE(fs::is_directory(directory));
  EXPECT_EQ(cache->URLForKey("a b")->path(), directory + "/a b");

  cache->setObject(OVNValue::dictionary({{"t", 21}}), "obs", 60.0);
  EXPECT_TRUE(cache->objectInMemoryForKey("obs").isDictionary()) << "found before its file is written";
  cache->clearInternalCache();
  EXPECT_EQ(cache->objectForKey("obs"), OVNValue::dictionary({{"t", 21}}));
  EXPECT_EQ(cache->internalCache().count(), 0u) << "a value read from its file stays out of memory";
  EXPECT_TRUE(cache->objectExistsForKey("obs"));
  EXPECT_FALSE(cache->objectExistsForKey("never"));
  const std::size_t fileSize = fileOf(cache, "obs")->size();
  EXPECT_GE(cache->currentFilesize(), fileSize);

  cache->removeObjectForKey("obs");
  EXPECT_FALSE(fileOf(cache, "obs"));
  EXPECT_TRUE(cache->objectForKey("obs").isMissing());
}

TEST_F(OVNDiskCacheTest, ModelObjectsOutliveTheCacheInstance) {
  const char* const json = R"({"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
    "place": {"name": "austin", "state": "tx", "country": "us"}, "obTimestamp": 1795000000,
    "ob": {"tempC": 21.1, "humidity": 55, "windDir": "SSE", "isDay": true}, "periods": [{"timestamp": 1795003600}]})";
  auto mapper = makeWeatherMapper();
  ASSERT_TRUE(mapper);
  auto original = mapper->createObjectWithClass<Observation>(OVNJSONSerialization::JSONObjectWithData(json));
  ASSERT_TRUE(original);
  makeCache("models")->setObject(original, "KAUS");
  auto restored = makeCache("models")->objectForKey("KAUS").objectAs<Observation>();
  ASSERT_TRUE(restored);
  EXPECT_NE(restored, original);
  EXPECT_TRUE(mapper->serializeObject(restored, 0).isEqual(mapper->serializeObject(original, 0)));
}

TEST_F(OVNDiskCacheTest, ExpiredContentIsRemovedByLookupsAndCleanUpComparesWithTheWriteTime) {
  OVNTestClock clock;  // starts at the real time, so that file dates and expiries compare
  auto cache = makeCache();
  cache->setObject("stale when written", "past", OVNDate::now().dateByAddingTimeInterval(-100));
  cache->setObject("fresh when written", "later", 10.0);
  cache->setObject("forever", "forever");
  ASSERT_TRUE(fileOf(cache, "past"));

  clock.advance(3600);  // now "later" has expired too, but after it was written
  cache->removeExpiredObjects();
  EXPECT_FALSE(fileOf(cache, "past"));
  EXPECT_TRUE(fileOf(cache, "later")) << "kept: it was fresh when written";
  EXPECT_TRUE(fileOf(cache, "forever"));

  EXPECT_FALSE(cache->objectExistsForKey("later")) << "the memory layer's record has expired";
  EXPECT_TRUE(cache->objectInMemoryForKey("later").isMissing());
  EXPECT_TRUE(fileOf(cache, "later")) << "only memory forgets it";
  // A lookup reading the expired file removes it, and a callback's value is written anew.
  EXPECT_EQ(cache->objectForKey("later", 60.0, [] { return OVNValue("made"); }), OVNValue("made"));
  cache->clearInternalCache();
  EXPECT_EQ(cache->objectForKey("later"), OVNValue("made"));
  clock.advance(61);
  cache->clearInternalCache();
  EXPECT_TRUE(cache->objectForKey("later").isMissing());
  EXPECT_FALSE(fileOf(cache, "later"));
}

TEST_F(OVNDiskCacheTest, OlderFilesAndOversizedCachesAreDeleted) {
  auto cache = makeCache();
  ASSERT_TRUE(fs::create_directory(caches + "/disk/sub"));
  for (const char* key : {"old", "new", "sub/nested"}) cache->setObject(std::string(1000, 'x'), key);
  cache->waitUntilFilesAreWritten();
  const double now = OVNDate::now().timeIntervalSince1970();
  setModificationTime(caches + "/disk/old", now - 7200);
  setModificationTime(caches + "/disk/sub", now - 7200);

  cache->removeObjectsOlderThanInterval(3600);
  EXPECT_FALSE(fileOf(cache, "old"));
  EXPECT_FALSE(fileOf(cache, "sub/nested")) << "with its old directory";
  EXPECT_TRUE(fileOf(cache, "new"));
  EXPECT_TRUE(cache->objectInMemoryForKey("old").isPresent()) << "memory is not touched";
  cache->removeObjectsOlderThanInterval(0);
  EXPECT_FALSE(fileOf(cache, "new"));

  cache->setObject(std::string(1000, 'x'), "big");
  cache->waitUntilFilesAreWritten();
  const std::uint64_t size = cache->currentFilesize();
  EXPECT_GT(size, 1000u);
  cache->setMaxFilesize(size);  // within the limit: nothing happens
  EXPECT_TRUE(fileOf(cache, "big"));
  cache->setMaxFilesize(size - 1);
  EXPECT_FALSE(fileOf(cache, "big"));
  EXPECT_TRUE(fs::is_directory(caches + "/disk")) << "emptied and made anew";
  EXPECT_EQ(cache->internalCache().count(), 0u);
}

TEST_F(OVNDiskCacheTest, KeysNeverReachOutsideTheDirectory) {
  auto cache = makeCache();
  const std::string outside = caches + "/outside";
  ASSERT_TRUE(OVNFileManager::createFileAtPath(outside, "keep"));
  const std::vector<std::string> escaping{"..", "../outside", ".", "", "/", "a/../../outside", std::string("x\0y", 3)};
  for (const std::string& key : escaping) {
    cache->setObject("value", key);
    EXPECT_EQ(cache->objectInMemoryForKey(key), OVNValue("value")) << "memory still serves " << key;
    cache->removeObjectForKey(key);
  }
  cache->waitUntilFilesAreWritten();
  EXPECT_EQ(OVNFileManager::contentsAtPath(outside), "keep");
  EXPECT_TRUE(fs::is_directory(caches + "/disk"));
  EXPECT_TRUE(fs::is_empty(caches + "/disk"));
  EXPECT_EQ(OVNDiskCache::initWithName("..")->directory()->path(), caches + "/OVNDiskCache");

  // A leading "/" stays inside; a missing subdirectory makes the write fail silently.
  cache->setObject("rooted", "/rooted");
  cache->setObject("nested", "missing/nested");
  EXPECT_TRUE(fileOf(cache, "rooted"));
  EXPECT_FALSE(fileOf(cache, "missing/nested"));
  EXPECT_EQ(cache->objectInMemoryForKey("missing/nested"), OVNValue("nested"));
}

TEST_F(OVNDiskCacheTest, FilesThatAreNoRecordAreMisses) {
  auto cache = makeCache();
  std::shared_ptr<OVNError> error;
  const auto archive = OVNKeyedArchiver::archivedDataWithRootObject(
      OVNCachedContent::cachedContentWithObject("whole", std::nullopt), false, &error);
  const std::string bytes(archive->view());
  const std::vector<std::pair<std::string, std::string>> files{
      {"empty", ""},
      {"truncated", bytes.substr(0, bytes.size() / 2)},
      {"corrupt", std::string(bytes.size(), '\x5a')},
      {"foreign", std::string(OVNKeyedArchiver::archivedDataWithRootObject("a string", false, &error)->view())},
      {"text", "not an archive at all"}};
  for (const auto& [key, contents] : files) {
    ASSERT_TRUE(OVNFileManager::createFileAtPath(caches + "/disk/" + key, contents));
    EXPECT_TRUE(cache->objectForKey(key).isMissing()) << key;
    EXPECT_EQ(cache->objectForKey(key, [] { return OVNValue("made"); }), OVNValue("made")) << key;
  }
  ASSERT_TRUE(fs::create_directory(caches + "/disk/directory"));
  EXPECT_TRUE(cache->objectForKey("directory").isMissing());
  cache->clearInternalCache();
  EXPECT_EQ(cache->objectForKey("truncated"), OVNValue("made")) << "rewritten after the miss";
}

TEST_F(OVNDiskCacheTest, ADirectoryThatCannotBeMadeLeavesAMemoryCache) {
  ASSERT_TRUE(OVNFileManager::createFileAtPath(caches, "a file where the caches directory should be"));
  ConsoleCapture console;
  auto cache = OVNDiskCache::initWithName("blocked");
  ASSERT_EQ(console.lines().size(), 2u);
  EXPECT_EQ(console.lines()[1].rfind("OVNDiskCache - Error creating cache directory (file://" + caches +
                                         "/blocked): Error Domain=NSCocoaErrorDomain",
                                     0),
            0u)
      << console.lines()[1];
  cache->setObject("kept", "k");
  EXPECT_EQ(cache->objectForKey("k"), OVNValue("kept"));
  cache->removeAllObjects();
  cache->waitUntilFilesAreWritten();
  EXPECT_EQ(cache->currentFilesize(), 0u);
  EXPECT_TRUE(cache->objectForKey("k").isMissing());
}

// Each construction brings a new work queue; a store made later still lands later, and
// the clean-up sweeps the temporary files of writers killed long ago.
TEST_F(OVNDiskCacheTest, ConstructionsKeepWorkInOrderAndSweepAbandonedWrites) {
  auto cache = makeCache();
  cache->setObject(std::string(16 << 20, 'x'), "key");  // slow enough to still be writing
  const double now = OVNDate::now().timeIntervalSince1970();
  for (const char* name : {".ovn-1-1.tmp", ".ovn-1-2.tmp", "key.tmp"}) {
    ASSERT_TRUE(OVNFileManager::createFileAtPath(caches + "/disk/" + name, "partial"));
  }
  setModificationTime(caches + "/disk/.ovn-1-1.tmp", now - 7200);
  setModificationTime(caches + "/disk/key.tmp", now - 7200);
  auto other = OVNDiskCache::initWithName("disk");
  EXPECT_GT(fileOf(other, "key").value_or("").size(), std::size_t{16 << 20}) << "waited for the older queue";
  cache->setObject("newest", "key");
  cache->clearInternalCache();
  EXPECT_EQ(cache->objectForKey("key"), OVNValue("newest"));
  EXPECT_FALSE(fileOf(cache, ".ovn-1-1.tmp"));
  EXPECT_TRUE(fileOf(cache, ".ovn-1-2.tmp")) << "a recent one may be another process's write";
  EXPECT_TRUE(fileOf(cache, "key.tmp")) << "not a temporary name";
}

// For the thread sanitizer: one disk cache used from several threads at once.
TEST_F(OVNDiskCacheTest, ConcurrentUse) {
  auto cache = makeCache("concurrent");
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        const std::string key = "k" + std::to_string(i % 16);
        if ((i + t) % 4 == 0) cache->setObject(key, key);
        if ((i + t) % 7 == 0) cache->clearInternalCache();
        if (i % 50 == 0) cache->removeObjectForKey(key);
        const OVNValue found = cache->objectForKey(key);
        if (found.isPresent() && found != OVNValue(key)) ++wrong;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  cache->waitUntilFilesAreWritten();
  EXPECT_EQ(wrong.load(), 0);
}

}  // namespace
