#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include "Platform/Dispatch/OVNTestClock.h"
#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/OVNHTTPCache.h"
#include "Platform/Network/OVNHTTPURLResponse.h"
#include "Platform/Network/OVNMutableURLRequest.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNData.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ConsoleCapture.h"
#include "Support/TemporaryDirectory.h"

namespace {

namespace fs = std::filesystem;
using Headers = std::vector<std::pair<std::string, std::string>>;
constexpr std::uint64_t kLarge = 64 * 1024 * 1024;

OVNMutableURLRequestRef request(const std::string& url, const Headers& headers = {}) {
  auto made = OVNMutableURLRequest::requestWithURL(OVNURL::URLWithString(url));
  for (const auto& [name, value] : headers) made->setValue(value, name);
  return made;
}

std::shared_ptr<OVNCachedURLResponse> response(const std::string& url, const std::string& body,
                                               const Headers& headers = {},
                                               OVNURLCacheStoragePolicy policy = OVNURLCacheStorageAllowed) {
  auto fields = OVNDictionary::make({{"Content-Type", "text/plain"}, {"X-Key", url}});
  for (const auto& [name, value] : headers) fields->set(name, value);
  auto http = OVNHTTPURLResponse::responseWithURL(OVNURL::URLWithString(url), 200, "HTTP/1.1", fields);
  return OVNCachedURLResponse::cachedResponseWithResponse(http, OVNData::fromString(body), nullptr, policy);
}

std::optional<std::string> bodyFor(OVNHTTPCache& cache, const std::string& url, const Headers& headers = {}) {
  auto found = cache.cachedResponseForRequest(*request(url, headers));
  return found ? std::optional(std::string(found->data()->view())) : std::nullopt;
}

std::vector<std::string> filesEndingWith(const std::string& directory, const std::string& suffix) {
  std::vector<std::string> names;
  for (const auto& item : fs::directory_iterator(directory)) {
    std::string name = item.path().filename();
    if (name.size() >= suffix.size() && name.ends_with(suffix)) names.push_back(item.path());
  }
  return names;
}

std::size_t linesContaining(const ConsoleCapture& console, const std::string& text) {
  auto lines = console.lines();
  return std::count_if(lines.begin(), lines.end(), [&](const auto& line) { return line.find(text) != line.npos; });
}

std::string url(int number) { return "https://api.example.com/obs/" + std::to_string(number); }

// Bodies that tell where they belong: a wrong file behind an entry cannot pass for it.
std::string bodyOfKey(const std::string& key, int size = 600) {
  std::string body;
  while (body.size() < static_cast<std::size_t>(size)) body += key + ";";
  return body.substr(0, size);
}

class OVNHTTPCacheTest : public ::testing::Test {
 protected:
  std::shared_ptr<OVNHTTPCache> open(std::uint64_t memory = kLarge, std::uint64_t disk = kLarge) {
    return OVNHTTPCache::cacheWithMemoryCapacity(memory, disk, path);
  }
  TemporaryDirectory temporary{"ovnhttpcache"};
  const std::string path = temporary.path() + "/cache";
};

TEST_F(OVNHTTPCacheTest, StoresReplacesAndRemovesInEachLayer) {
  struct Layer {
    const char* name;
    std::uint64_t memory, disk;
    bool onDisk;
  };
  for (Layer layer :
       {Layer{"memory", kLarge, 0, false}, Layer{"disk", 0, kLarge, true}, {"both", kLarge, kLarge, true}}) {
    SCOPED_TRACE(layer.name);
    OVNHTTPCache::cacheWithMemoryCapacity(0, kLarge, path)->removeAllCachedResponses();
    auto cache = open(layer.memory, layer.disk);
    cache->storeCachedResponse(response(url(1), "one"), *request(url(1)));
    cache->storeCachedResponse(response(url(2), "two"), *request(url(2)));
    auto found = cache->cachedResponseForRequest(*request(url(1)));
    ASSERT_TRUE(found);
    auto http = std::dynamic_pointer_cast<OVNHTTPURLResponse>(found->response());
    ASSERT_TRUE(http);
    EXPECT_EQ(http->statusCode(), 200);
    EXPECT_EQ(http->valueForHTTPHeaderField("x-key"), url(1));
    EXPECT_EQ(http->URL()->absoluteString(), url(1));
    cache->storeCachedResponse(response(url(1), "one again"), *request(url(1)));
    EXPECT_EQ(bodyFor(*cache, url(1)), "one again");
    EXPECT_EQ(bodyFor(*open(0, kLarge), url(1)), layer.onDisk ? std::optional<std::string>("one again") : std::nullopt);
    EXPECT_GT(layer.onDisk ? cache->currentDiskUsage() : cache->currentMemoryUsage(), 12u);
    cache->removeCachedResponseForRequest(*request(url(1)));
    EXPECT_EQ(bodyFor(*cache, url(1)), std::nullopt);
    EXPECT_EQ(bodyFor(*cache, url(2)), "two");
    // A refresh (new fields, the same body) keeps the body file and the running total true.
    const auto bodyFiles = layer.onDisk ? filesEndingWith(path, ".body") : std::vector<std::string>{};
    cache->storeCachedResponse(response(url(2), "two", {{"X-Refreshed", "yes"}}), *request(url(2)));
    if (layer.onDisk) {
      auto reopened = open(0, kLarge);
      auto found = reopened->cachedResponseForRequest(*request(url(2)));
      ASSERT_TRUE(found);
      EXPECT_EQ(
          std::dynamic_pointer_cast<OVNHTTPURLResponse>(found->response())->valueForHTTPHeaderField("X-Refreshed"),
          "yes");
      EXPECT_EQ(filesEndingWith(path, ".body"), bodyFiles);
      EXPECT_EQ(reopened->currentDiskUsage(), cache->currentDiskUsage());
    }
    cache->removeAllCachedResponses();
    EXPECT_EQ(bodyFor(*cache, url(2)), std::nullopt);
    EXPECT_EQ(cache->currentMemoryUsage() + cache->currentDiskUsage(), 0u);
    EXPECT_TRUE(!layer.onDisk || filesEndingWith(path, ".body").empty());
  }
}

TEST_F(OVNHTTPCacheTest, FollowsTheStoragePolicy) {
  struct Case {
    OVNURLCacheStoragePolicy policy;
    std::optional<std::string> inMemory, onDisk;
  };
  for (Case row :
       {Case{OVNURLCacheStorageAllowed, "new", "new"}, Case{OVNURLCacheStorageAllowedInMemoryOnly, "new", {}},
        Case{OVNURLCacheStorageNotAllowed, "old", "old"}}) {
    SCOPED_TRACE(row.policy);
    auto cache = open();
    cache->storeCachedResponse(response(url(1), "old"), *request(url(1)));
    cache->storeCachedResponse(response(url(1), "new", {}, row.policy), *request(url(1)));
    EXPECT_EQ(bodyFor(*cache, url(1)), row.inMemory);
    EXPECT_EQ(bodyFor(*open(0), url(1)), row.onDisk);
    cache->removeAllCachedResponses();
  }
}

TEST_F(OVNHTTPCacheTest, VaryDecidesWhichRequestsMatch) {
  struct Case {
    const char* vary;
    Headers stored, looking;
    bool matches;
  };
  const Case cases[] = {
      {"Accept-Encoding", {{"Accept-Encoding", "gzip"}}, {{"Accept-Encoding", "gzip"}}, true},
      {"Accept-Encoding", {{"Accept-Encoding", "gzip"}}, {{"Accept-Encoding", "br"}}, false},
      {" accept-encoding ", {{"Accept-Encoding", " gzip "}}, {{"ACCEPT-ENCODING", "gzip"}}, true},
      {"Accept-Encoding", {}, {}, true},
      {"Accept-Encoding", {}, {{"Accept-Encoding", "gzip"}}, false},
      {"Accept-Encoding", {{"Accept-Encoding", "gzip"}}, {}, false},
      {"Accept-Encoding, Accept-Language",
       {{"Accept-Encoding", "gzip"}, {"Accept-Language", "en"}},
       {{"Accept-Encoding", "gzip"}, {"Accept-Language", "fr"}},
       false},
      {"Accept-Encoding,,Accept-Language", {{"Accept-Language", "en"}}, {{"Accept-Language", "en"}}, true},
      {"*", {}, {}, false},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.vary);
    auto cache = open();
    cache->storeCachedResponse(response(url(1), "body", {{"Vary", row.vary}}), *request(url(1), row.stored));
    std::optional<std::string> expected = row.matches ? std::optional<std::string>("body") : std::nullopt;
    EXPECT_EQ(bodyFor(*cache, url(1), row.looking), expected);
    EXPECT_EQ(bodyFor(*open(0), url(1), row.looking), expected);  // from the disk's record
    cache->removeAllCachedResponses();
  }
  // A response that is not HTTP has no Vary: any request for the URL finds it.
  auto cache = open(0);
  auto plain = OVNURLResponse::responseWithURL(OVNURL::URLWithString(url(2)), "text/plain", 4, "utf-8");
  cache->storeCachedResponse(OVNCachedURLResponse::cachedResponseWithResponse(plain, OVNData::fromString("text")),
                             *request(url(2)));
  auto found = open(0)->cachedResponseForRequest(*request(url(2), {{"Accept", "x"}}));
  ASSERT_TRUE(found);
  EXPECT_FALSE(std::dynamic_pointer_cast<OVNHTTPURLResponse>(found->response()));
  EXPECT_EQ(found->response()->MIMEType(), "text/plain");
  EXPECT_EQ(found->response()->textEncodingName(), "utf-8");
}

TEST_F(OVNHTTPCacheTest, KeysIgnoreTheFragmentAndRequestsWithoutURLMiss) {
  auto cache = open();
  cache->storeCachedResponse(response(url(1), "body"), *request(url(1) + "#top"));
  EXPECT_EQ(bodyFor(*cache, url(1) + "#bottom"), "body");
  EXPECT_EQ(bodyFor(*cache, url(1)), "body");
  OVNURLRequest noURL;
  cache->storeCachedResponse(response(url(2), "body"), noURL);
  EXPECT_EQ(cache->cachedResponseForRequest(noURL), nullptr);
  EXPECT_EQ(bodyFor(*cache, url(2)), std::nullopt);
}

TEST_F(OVNHTTPCacheTest, EvictsTheLeastRecentlyUsedAndSkipsLargeEntries) {
  constexpr std::uint64_t kCapacity = 20 * 1000;  // entries up to 1000 bytes; about 20 of 600-byte bodies fit
  for (bool onDisk : {false, true}) {
    SCOPED_TRACE(onDisk ? "disk" : "memory");
    auto cache = onDisk ? open(0, kCapacity) : OVNHTTPCache::cacheWithMemoryCapacity(kCapacity, 0, std::nullopt);
    auto currentUsage = [&] { return onDisk ? cache->currentDiskUsage() : cache->currentMemoryUsage(); };
    for (int number = 0; number < 40; ++number) {
      cache->storeCachedResponse(response(url(number), bodyOfKey(url(number))), *request(url(number)));
      EXPECT_EQ(bodyFor(*cache, url(0)), bodyOfKey(url(0)));  // used after every store: never the oldest
      EXPECT_LE(currentUsage(), kCapacity);
    }
    EXPECT_EQ(bodyFor(*cache, url(1)), std::nullopt);
    EXPECT_EQ(bodyFor(*cache, url(39)), bodyOfKey(url(39)));
    cache->storeCachedResponse(response(url(50), bodyOfKey(url(50), 1001)), *request(url(50)));
    EXPECT_EQ(bodyFor(*cache, url(50)), std::nullopt);
    if (onDisk) {
      std::uint64_t before = currentUsage();
      EXPECT_EQ(open(0, kCapacity)->currentDiskUsage(), before);  // the running total matches the index
      EXPECT_EQ(bodyFor(*open(0, kCapacity), url(0)), bodyOfKey(url(0)));
    }
    onDisk ? cache->setDiskCapacity(0) : cache->setMemoryCapacity(0);
    EXPECT_EQ(currentUsage(), 0u);
    EXPECT_TRUE(!onDisk || filesEndingWith(path, ".body").empty());
  }
}

TEST_F(OVNHTTPCacheTest, EntriesPersistWithTheirDatesAndGoWhenStoredSinceADate) {
  OVNTestClock clock(1000.0);
  auto cache = open();
  auto withInfo = OVNCachedURLResponse::cachedResponseWithResponse(
      response(url(1), "one")->response(), OVNData::fromString("one"),
      OVNDictionary::make({{"kept", "yes"}, {"dropped", OVNValue::null()}}));
  auto kept = OVNCachedURLResponse::cachedResponseWithResponse(withInfo->response(), withInfo->data(),
                                                               OVNDictionary::make({{"kept", "yes"}}));
  cache->storeEntry({withInfo, OVNDate(10.0), OVNDate(20.0)}, *request(url(1)));
  cache->storeEntry({kept, OVNDate(30.0), OVNDate(40.0)}, *request(url(2)));
  clock.advance(100.0);
  cache->storeCachedResponse(response(url(3), "three"), *request(url(3)));

  auto reopened = open(0);
  auto first = reopened->entryForRequest(*request(url(1)));
  ASSERT_TRUE(first);
  EXPECT_EQ(first->requestDate.timeIntervalSinceReferenceDate(), 10.0);
  EXPECT_EQ(first->responseDate.timeIntervalSinceReferenceDate(), 20.0);
  EXPECT_EQ(first->cachedResponse->userInfo(), nullptr);  // a property list cannot hold the null marker
  auto second = reopened->entryForRequest(*request(url(2)));
  ASSERT_TRUE(second && second->cachedResponse->userInfo());
  EXPECT_EQ(second->cachedResponse->userInfo()->objectForKey("kept").description(), "yes");
  EXPECT_EQ(reopened->entryForRequest(*request(url(3)))->responseDate.timeIntervalSinceReferenceDate(), 1100.0);

  cache->removeCachedResponsesSinceDate(OVNDate(1050.0));
  EXPECT_EQ(bodyFor(*cache, url(3)), std::nullopt);
  EXPECT_EQ(bodyFor(*cache, url(1)), "one");
  EXPECT_EQ(bodyFor(*open(0), url(3)), std::nullopt);
  EXPECT_EQ(bodyFor(*open(0), url(2)), "one");
}

// Writes `bytes` over the file from `offset`, or cuts it there when `bytes` is empty.
void damage(const std::string& file, long offset, const std::string& bytes) {
  if (bytes.empty()) return fs::resize_file(file, offset);
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  stream.seekp(offset);
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

TEST_F(OVNHTTPCacheTest, ADamagedOrForeignIndexIsDiscardedAndMadeAnew) {
  struct Case {
    const char* name;
    long offset;
    std::string bytes;
    const char* logged;
  };
  const Case cases[] = {{"not a database", 0, "this is no SQLite file at all", "unreadable"},
                        {"truncated", 5000, "", "unreadable"},
                        {"another program's", 68, std::string("\0\0\0\7", 4), "not an index of this cache"},
                        {"another format version", 60, std::string("\0\0\0\x63", 4), "has format 99, not 1"}};
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    fs::remove_all(path);
    {
      auto cache = open(0);
      for (int number = 0; number < 30; ++number) {
        cache->storeCachedResponse(response(url(number), bodyOfKey(url(number))), *request(url(number)));
      }
    }
    damage(path + "/index.sqlite", row.offset, row.bytes);
    ConsoleCapture console;
    auto cache = open(0);
    EXPECT_EQ(linesContaining(console, "OVNHTTPCache"), 1u);
    EXPECT_EQ(linesContaining(console, row.logged), 1u);
    EXPECT_EQ(cache->directory(), path);
    EXPECT_TRUE(filesEndingWith(path, ".body").empty());
    EXPECT_EQ(bodyFor(*cache, url(1)), std::nullopt);
    cache->storeCachedResponse(response(url(1), "again"), *request(url(1)));
    EXPECT_EQ(bodyFor(*open(0), url(1)), "again");
  }
}

TEST_F(OVNHTTPCacheTest, ABodyFileThatDoesNotMatchItsRecordIsNeverServed) {
  auto cache = open(0);
  for (int number = 0; number < 3; ++number) {
    cache->storeCachedResponse(response(url(number), bodyOfKey(url(number))), *request(url(number)));
  }
  auto files = filesEndingWith(path, ".body");
  ASSERT_EQ(files.size(), 3u);
  damage(files[0], 10, "X");                                                // same length, other bytes
  damage(files[1], 100, "");                                                // truncated
  fs::copy_file(files[2], files[0], fs::copy_options::overwrite_existing);  // another entry's body
  fs::remove(files[2]);                                                     // missing
  ConsoleCapture console;
  for (int number = 0; number < 3; ++number) EXPECT_EQ(bodyFor(*cache, url(number)), std::nullopt);
  EXPECT_EQ(linesContaining(console, "does not match the cache index"), 1u);
  EXPECT_EQ(cache->currentDiskUsage(), 0u);
  EXPECT_TRUE(filesEndingWith(path, ".body").empty());
}

TEST_F(OVNHTTPCacheTest, WithoutAUsableDirectoryTheCacheWorksInMemory) {
  struct Case {
    std::string directory, logged;
    bool cachesDirectoryKnown = true;
  };
  std::ofstream(temporary.path() + "/file") << "a regular file";
  fs::create_directories(path + "/index.sqlite");  // where the index file should be
  const Case cases[] = {{temporary.path() + "/file/cache", "cannot create the directory " + temporary.path() + "/file"},
                        {path, "cannot use the cache index " + path + "/index.sqlite"},
                        {"URLCache", "no caches directory to hold URLCache", false}};
  const auto previousCaches = OVNFileManager::cachesDirectory();
  for (const Case& row : cases) {
    SCOPED_TRACE(row.directory);
    if (!row.cachesDirectoryKnown) OVNFileManager::setCachesDirectory(std::nullopt);
    std::map<std::string, std::optional<std::string>> saved;
    for (const char* name : {"HOME", "XDG_CACHE_HOME"}) {
      saved[name] = std::getenv(name) ? std::optional<std::string>(std::getenv(name)) : std::nullopt;
      if (!row.cachesDirectoryKnown) ::unsetenv(name);
    }
    ConsoleCapture console;
    auto cache = OVNHTTPCache::cacheWithMemoryCapacity(kLarge, kLarge, row.directory);
    for (const auto& [name, value] : saved)
      value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
    OVNFileManager::setCachesDirectory(previousCaches);
    cache->storeCachedResponse(response(url(1), "body"), *request(url(1)));
    cache->storeCachedResponse(response(url(2), "body"), *request(url(2)));
    EXPECT_EQ(bodyFor(*cache, url(1)), "body");
    EXPECT_EQ(cache->directory(), std::nullopt);
    EXPECT_EQ(linesContaining(console, row.logged), 1u);
    EXPECT_EQ(console.lines().size(), 1u);
  }
}

TEST_F(OVNHTTPCacheTest, TheSharedCacheLivesInTheCachesDirectoryUntilReplaced) {
  const auto previousCaches = OVNFileManager::cachesDirectory();
  const auto previousShared = OVNHTTPCache::sharedURLCache();
  OVNFileManager::setCachesDirectory(temporary.path());
  OVNHTTPCache::setSharedURLCache(nullptr);
  auto shared = OVNHTTPCache::sharedURLCache();
  EXPECT_EQ(OVNHTTPCache::sharedURLCache(), shared);
  EXPECT_EQ(shared->directory(), temporary.path() + "/URLCache");
  EXPECT_EQ(shared->diskCapacity(), OVNHTTPCache::defaultDiskCapacity);
  auto own = OVNHTTPCache::cacheWithMemoryCapacity(1, 2, std::nullopt);
  OVNHTTPCache::setSharedURLCache(own);
  EXPECT_EQ(OVNHTTPCache::sharedURLCache(), own);
  OVNHTTPCache::setSharedURLCache(nullptr);
  EXPECT_NE(OVNHTTPCache::sharedURLCache(), own);
  OVNHTTPCache::setSharedURLCache(previousShared);
  OVNFileManager::setCachesDirectory(previousCaches);
}

// Runs `body` in a child process and gives its exit status; the child only runs cache code.
int inChild(const std::function<int()>& body) {
  pid_t child = ::fork();
  if (child == 0) ::_exit(body());
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(OVNHTTPCacheTest, AFailedWriteAbandonsTheStoreAndIsLoggedOnce) {
  constexpr rlim_t kFileSizeLimit = 1024 * 1024;
  enum Outcome { kPassed, kLargeStored, kSmallLost, kNotLoggedOnce, kTemporaryLeft };
  int outcome = inChild([&] {
    ::signal(SIGXFSZ, SIG_IGN);  // writes past the limit then fail with EFBIG instead of killing
    rlimit limit{kFileSizeLimit, kFileSizeLimit};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    ConsoleCapture console;
    auto cache = open(0);
    for (int number : {1, 2}) {
      cache->storeCachedResponse(response(url(number), bodyOfKey(url(number), 2 * kFileSizeLimit)),
                                 *request(url(number)));
    }
    cache->storeCachedResponse(response(url(3), "small"), *request(url(3)));
    if (bodyFor(*cache, url(1)) || bodyFor(*cache, url(2))) return kLargeStored;
    if (bodyFor(*cache, url(3)) != "small") return kSmallLost;
    if (linesContaining(console, "OVNHTTPCache") != 1 || linesContaining(console, "File too large") != 1) {
      return kNotLoggedOnce;
    }
    return filesEndingWith(path, ".tmp").empty() ? kPassed : kTemporaryLeft;
  });
  EXPECT_EQ(outcome, kPassed) << "1: large stored, 2: small lost, 3: not logged once, 4: temporary file left";
}

TEST_F(OVNHTTPCacheTest, AProcessKilledWhileStoringLeavesOnlyWholeEntries) {
  constexpr int kRounds = 5, kEntries = 1000;
  std::mt19937 random(std::random_device{}());
  int interruptedRounds = 0, present = 0;
  for (int round = 0; round < kRounds; ++round) {
    auto keyOf = [&](int number) { return url(round * kEntries + number); };
    int progress[2];
    ASSERT_EQ(::pipe(progress), 0);
    pid_t child = ::fork();
    if (child == 0) {
      ::close(progress[0]);
      auto cache = open(0);
      for (int number = 0; number < kEntries; ++number) {
        cache->storeCachedResponse(response(keyOf(number), bodyOfKey(keyOf(number), 100 + number)),
                                   *request(keyOf(number)));
        if (::write(progress[1], "+", 1) != 1) ::_exit(1);
      }
      ::_exit(0);
    }
    ::close(progress[1]);
    int acknowledged = 0, wanted = std::uniform_int_distribution(0, 400)(random);
    char mark;
    while (acknowledged < wanted && ::read(progress[0], &mark, 1) == 1) ++acknowledged;
    // Then a moment more, so that the signal lands anywhere inside a store.
    std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution(0, 2000)(random)));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ::close(progress[0]);

    auto cache = open(0);
    int found = 0;
    for (int number = 0; number < kEntries; ++number) {
      auto hit = cache->cachedResponseForRequest(*request(keyOf(number)));
      if (!hit) continue;
      ++found;
      ASSERT_EQ(hit->data()->view(), bodyOfKey(keyOf(number), 100 + number));
      ASSERT_EQ(std::dynamic_pointer_cast<OVNHTTPURLResponse>(hit->response())->valueForHTTPHeaderField("X-Key"),
                keyOf(number));
    }
    EXPECT_GE(found, acknowledged);  // a store that returned was committed
    if (found < kEntries) ++interruptedRounds;
    present += found;
    EXPECT_TRUE(filesEndingWith(path, ".tmp").empty());
    EXPECT_EQ(filesEndingWith(path, ".body").size(), static_cast<std::size_t>(present));
  }
  EXPECT_GE(interruptedRounds, 1);
}

TEST_F(OVNHTTPCacheTest, ThreadsStoreLookUpAndRemoveAtOnce) {
  constexpr int kThreads = 4, kOperations = 300, kKeys = 12;
  auto cache = open(8 * 1024, kLarge);  // a small memory layer: lookups keep going to the disk
  std::atomic<int> wrongBodies = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int operation = 0; operation < kOperations; ++operation) {
        int number = (operation * 7 + thread) % kKeys;
        std::string body = url(number) + "|" + std::to_string(thread) + "|" + std::to_string(operation);
        if (operation % 3 == 0) cache->storeCachedResponse(response(url(number), body), *request(url(number)));
        if (operation % 17 == 0) cache->removeCachedResponseForRequest(*request(url(number)));
        auto found = bodyFor(*cache, url(number));
        if (found && !found->starts_with(url(number) + "|")) ++wrongBodies;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(wrongBodies, 0);
  EXPECT_LE(cache->currentMemoryUsage(), 8u * 1024);
  for (int number = 0; number < kKeys; ++number) {
    EXPECT_EQ(bodyFor(*cache, url(number)), bodyFor(*open(0), url(number)));  // the layers agree
  }
}

}  // namespace
