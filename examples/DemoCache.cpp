// The demonstration's caching part: observations fetched from the local weather service are
// stored in a disk cache for an hour, written to one file each, read back from those files
// once the memory layer is emptied (new objects with the same content), fetched on a miss by
// a lookup's callback, and finally removed.
#include "DemoCache.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "Cache/OVNDiskCache.h"
#include "DemoClient.h"
#include "OVNApiEndpoint.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/OVNMemoryStore.h"
#include "Platform/Values/OVNArray.h"
#include "Platform/Values/OVNDictionary.h"
#include "PropertyMapper/OVNPropertyMapper.h"

namespace {

constexpr double storedFor = 3600.0;  // seconds
constexpr double filledFor = 600.0;

// Prints the files below the cache's directory with their sizes; how many there are.
std::size_t listFiles(const OVNDiskCache& cache) {
  if (!cache.directory()) return 0;
  std::vector<std::string> files = OVNFileManager::subpathsOfDirectoryAtPath(cache.directory()->path().value_or(""));
  std::sort(files.begin(), files.end());
  for (const auto& file : files) {
    const auto attributes = OVNFileManager::attributesOfItemAtPath(file, nullptr);
    std::printf("    %-10s %6llu bytes\n", std::filesystem::path(file).filename().c_str(),
                attributes ? static_cast<unsigned long long>(attributes->size) : 0ULL);
  }
  std::printf("    %zu file(s), %llu bytes in all\n", files.size(),
              static_cast<unsigned long long>(cache.currentFilesize()));
  return files.size();
}

}  // namespace

bool demonstrateCache() {
  LocalWeatherService service;
  service.start();
  connectDemoClient(service);
  auto endpoint = OVNApiEndpoint::initWithPath<DemoEndpoint>("observations", Observation::classObject());
  const auto fetched =
      fetchObjects(endpoint, OVNDictionary::make({{"action", "closest"}, {"p", "40.7,-74.0"}, {"limit", 3}}));
  std::vector<std::shared_ptr<Observation>> originals;
  if (fetched && fetched->value()) {
    for (const OVNValue& member : *fetched->value()) {
      if (auto observation = member.objectAs<Observation>()) originals.push_back(std::move(observation));
    }
  }
  if (originals.empty()) {
    std::printf("  nothing fetched: %s\n",
                fetched && fetched->error() ? fetched->error()->description().c_str() : "no reply");
    return false;
  }

  auto cache = OVNDiskCache::initWithName("DemoObservations");
  std::printf("  the disk cache \"%s\" keeps its files in %s\n", cache->name().c_str(),
              cache->directory() ? cache->directory()->path().value_or("?").c_str() : "(memory only)");
  std::printf("  stored for an hour, under their station ids:\n");
  for (const auto& observation : originals) {
    cache->setObject(observation, observation->stationId, storedFor);
    printObservation(*observation);
  }
  cache->waitUntilFilesAreWritten();
  std::printf("  on disk, once the queued writes have run:\n");
  const bool written = listFiles(*cache) == originals.size();

  cache->clearInternalCache();
  std::printf("  the memory layer emptied (%llu entries); each read back from its file:\n",
              static_cast<unsigned long long>(cache->internalCache().count()));
  const auto mapper = OVNApiClient::sharedClient<DemoClient>()->mapper();
  const auto contentOf = [&](const OVNValue& object) {
    return mapper->serializeObject(object, OVNPropertyMapper::SerializeMissingAsNull);
  };
  bool restored = true;
  for (const auto& original : originals) {
    const auto read = cache->objectForKey(original->stationId).objectAs<Observation>();
    const bool same = read && read != original && contentOf(read).isEqual(contentOf(original));
    std::printf("    %-6s %s\n", original->stationId.c_str(),
                same ? "a new object, with the same content as the one fetched"
                     : "NOT read back from its file as it was stored");
    restored = restored && same;
  }

  // A lookup that misses fetches the value itself; the cache keeps what it fetched.
  int fetches = 0;
  const auto fetchAustin = [&]() -> OVNValue {
    ++fetches;
    const auto result = fetchObjects(endpoint, OVNDictionary::make({{"action", "austin,tx"}}));
    return result && result->value() ? result->value()->firstObject() : OVNValue();
  };
  const auto missed = cache->objectForKey("austin,tx", filledFor, fetchAustin).objectAs<Observation>();
  std::printf("  \"austin,tx\" was not cached; the lookup's callback fetched it:\n");
  if (missed) printObservation(*missed);
  cache->waitUntilFilesAreWritten();
  cache->clearInternalCache();
  const auto again = cache->objectForKey("austin,tx", filledFor, fetchAustin).objectAs<Observation>();
  const bool filled = missed && again && again != missed && fetches == 1 && contentOf(again).isEqual(contentOf(missed));
  std::printf("  asked again with the memory layer emptied: %s; the callback ran %d time(s)\n",
              filled ? "read from its file" : "NOT found in the cache", fetches);

  cache->removeAllObjects();
  cache->waitUntilFilesAreWritten();
  std::printf("  after removeAllObjects:\n");
  const bool emptied = listFiles(*cache) == 0 && !cache->objectForKey(originals.front()->stationId).isPresent();
  service.stop();
  return written && restored && filled && emptied;
}
