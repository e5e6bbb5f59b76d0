// The object caches, in one program beside their anchors.
//
// Memory: lookups and stores of small values (integer OVNValues) over 10,000 string keys,
// on one and on two threads, through the memory store (OVNMemoryStore), through the memory
// cache (OVNMemoryCache, which wraps each value in an OVNCachedContent record), and through
// the peer an application would otherwise write: std::unordered_map<std::string, OVNValue>
// behind one std::mutex. Every key is stored before timing; each thread walks its own
// pseudo-random sequence of keys, made before timing, so choosing a key is one load.
//
// Disk: stores of a worked-model observation (six objects) into OVNDiskCache, timed until
// the files are really written, and lookups that miss memory and read the file; beside them
// the parts on their own: archiving the record, writing its bytes with write() + rename(),
// reading them back, unarchiving them.
//
// Two-thread rows: Google Benchmark's Time column is the wall time divided by the
// iterations of both threads together (the inverse of the aggregate throughput); the
// `per_thread` counter is the wall time of one operation as each thread sees it.
// Run by scripts/run-benchmarks.sh.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "Cache/OVNCachedContent.h"
#include "Cache/OVNDiskCache.h"
#include "Cache/OVNMemoryCache.h"
#include "Observation.h"
#include "Platform/Serialization/OVNJSONSerialization.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/System/OVNMemoryStore.h"
#include "Platform/Values/OVNData.h"
#include "WeatherMappings.h"

namespace {

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "CacheBenchmark: %s\n", what);
  std::abort();
}

// ---- Keys and values ----------------------------------------------------------------------

constexpr std::size_t kKeyCount = 10'000;

const std::vector<std::string>& keys() {
  static const std::vector<std::string> made = [] {
    std::vector<std::string> result;
    result.reserve(kKeyCount);
    char text[32];
    for (std::size_t i = 0; i < kKeyCount; ++i) {
      std::snprintf(text, sizeof text, "observation/%05zu", i);
      result.emplace_back(text);
    }
    return result;
  }();
  return made;
}

// The small value stored under each key: an integer, held inline by OVNValue.
const std::vector<OVNValue>& values() {
  static const std::vector<OVNValue> made = [] {
    std::vector<OVNValue> result;
    result.reserve(kKeyCount);
    for (std::size_t i = 0; i < kKeyCount; ++i) result.emplace_back(static_cast<long long>(i) * 7);
    return result;
  }();
  return made;
}

// Key indices in a pseudo-random order (xorshift), different for each thread. 32 KB, so the
// sequence stays in the core's caches and costs one load per operation.
constexpr std::size_t kSequenceLength = std::size_t{1} << 14;

std::vector<std::uint16_t> keySequence(int thread) {
  std::uint32_t x = 0x9E3779B9u * static_cast<std::uint32_t>(thread + 1);
  std::vector<std::uint16_t> sequence(kSequenceLength);
  for (auto& index : sequence) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    index = static_cast<std::uint16_t>(x % kKeyCount);
  }
  return sequence;
}

// Items per second (summed over threads, over wall time) and the wall time of one operation
// as each thread sees it.
void setMemoryCounters(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
  state.counters["per_thread"] =
      benchmark::Counter(static_cast<double>(state.iterations()),
                         benchmark::Counter::kIsRate | benchmark::Counter::kAvgThreads | benchmark::Counter::kInvert);
}

// ---- The caches under test, filled once -----------------------------------------------------

OVNMemoryStore& memoryStore() {
  static OVNMemoryStore* store = [] {
    auto* made = new OVNMemoryStore("CacheBenchmark.store");
    for (std::size_t i = 0; i < kKeyCount; ++i) made->setObject(values()[i], keys()[i]);
    return made;
  }();
  return *store;
}

OVNMemoryCache& memoryCache() {
  static const OVNMemoryCacheRef cache = [] {
    auto made = OVNMemoryCache::initWithName("CacheBenchmark.memory");
    for (std::size_t i = 0; i < kKeyCount; ++i) made->setObject(values()[i], keys()[i]);
    if (made->objectInMemoryForKey(keys()[3]).longLongValue() != 21) fail("the memory cache lost a value");
    return made;
  }();
  return *cache;
}

// A memory hit through objectForKey unwraps the found value a second time, so this cache
// holds records of records: each value is itself stored as an OVNCachedContent.
OVNMemoryCache& wrappedMemoryCache() {
  static const OVNMemoryCacheRef cache = [] {
    auto made = OVNMemoryCache::initWithName("CacheBenchmark.wrapped");
    for (std::size_t i = 0; i < kKeyCount; ++i) {
      made->setObject(OVNCachedContent::cachedContentWithObject(values()[i], std::nullopt), keys()[i]);
    }
    if (made->objectForKey(keys()[3]).longLongValue() != 21) fail("objectForKey did not find a stored record");
    return made;
  }();
  return *cache;
}

// The peer: one map, one lock, the same values.
struct LockedMap {
  std::mutex lock;
  std::unordered_map<std::string, OVNValue> entries;
};

LockedMap& lockedMap() {
  static LockedMap* map = [] {
    auto* made = new LockedMap;
    made->entries.reserve(kKeyCount);
    for (std::size_t i = 0; i < kKeyCount; ++i) made->entries.insert_or_assign(keys()[i], values()[i]);
    return made;
  }();
  return *map;
}

// ---- Memory: lookups ------------------------------------------------------------------------

// Runs `operation` on this thread's pseudo-random sequence of key indexes. A template, so
// that the operation is inlined into the timed loop.
template <class Operation>
void overRandomKeys(benchmark::State& state, const Operation& operation) {
  const auto sequence = keySequence(state.thread_index());
  std::size_t next = 0;
  for (auto _ : state) operation(sequence[next++ & (kSequenceLength - 1)]);
  setMemoryCounters(state);
}

// What choosing a key costs inside every loop below.
void BM_KeyChoiceOnly(benchmark::State& state) {
  const auto& names = keys();
  overRandomKeys(state, [&](std::size_t index) { benchmark::DoNotOptimize(names[index].data()); });
}
BENCHMARK(BM_KeyChoiceOnly)->Threads(1)->Threads(2)->UseRealTime();

void BM_Anchor_MutexMapGet(benchmark::State& state) {
  LockedMap& map = lockedMap();
  const auto& names = keys();
  overRandomKeys(state, [&](std::size_t index) {
    OVNValue found;
    {
      std::lock_guard guard(map.lock);
      auto entry = map.entries.find(names[index]);
      if (entry != map.entries.end()) found = entry->second;
    }
    benchmark::DoNotOptimize(found);
  });
}
BENCHMARK(BM_Anchor_MutexMapGet)->Threads(1)->Threads(2)->UseRealTime();

void BM_MemoryStoreGet(benchmark::State& state) {
  OVNMemoryStore& store = memoryStore();
  const auto& names = keys();
  overRandomKeys(state, [&](std::size_t index) { benchmark::DoNotOptimize(store.objectForKey(names[index])); });
}
BENCHMARK(BM_MemoryStoreGet)->Threads(1)->Threads(2)->UseRealTime();

void BM_MemoryCacheObjectInMemoryForKey(benchmark::State& state) {
  OVNMemoryCache& cache = memoryCache();
  const auto& names = keys();
  overRandomKeys(state, [&](std::size_t index) { benchmark::DoNotOptimize(cache.objectInMemoryForKey(names[index])); });
}
BENCHMARK(BM_MemoryCacheObjectInMemoryForKey)->Threads(1)->Threads(2)->UseRealTime();

void BM_MemoryCacheObjectForKey(benchmark::State& state) {
  OVNMemoryCache& cache = wrappedMemoryCache();
  const auto& names = keys();
  overRandomKeys(state, [&](std::size_t index) { benchmark::DoNotOptimize(cache.objectForKey(names[index])); });
}
BENCHMARK(BM_MemoryCacheObjectForKey)->Threads(1)->Threads(2)->UseRealTime();

// ---- Memory: stores (every key already present, so each store replaces a value) ------------

void BM_Anchor_MutexMapSet(benchmark::State& state) {
  LockedMap& map = lockedMap();
  const auto& names = keys();
  const auto& stored = values();
  overRandomKeys(state, [&](std::size_t index) {
    OVNValue value = stored[index];
    std::lock_guard guard(map.lock);
    map.entries.insert_or_assign(names[index], std::move(value));
  });
}
BENCHMARK(BM_Anchor_MutexMapSet)->Threads(1)->Threads(2)->UseRealTime();

void BM_MemoryStoreSet(benchmark::State& state) {
  OVNMemoryStore& store = memoryStore();
  const auto& names = keys();
  const auto& stored = values();
  overRandomKeys(state, [&](std::size_t index) { store.setObject(stored[index], names[index]); });
}
BENCHMARK(BM_MemoryStoreSet)->Threads(1)->Threads(2)->UseRealTime();

void BM_MemoryCacheSetObject(benchmark::State& state) {
  OVNMemoryCache& cache = memoryCache();
  const auto& names = keys();
  const auto& stored = values();
  overRandomKeys(state, [&](std::size_t index) { cache.setObject(stored[index], names[index]); });
}
BENCHMARK(BM_MemoryCacheSetObject)->Threads(1)->Threads(2)->UseRealTime();

// ---- Disk -----------------------------------------------------------------------------------

const char* const kObservationJSON = R"({"id": "KAUS", "dataSource": "METAR", "loc": {"lat": 30.18, "long": -97.68},
  "place": {"name": "austin", "state": "tx", "country": "us"},
  "profile": {"tz": "America/Chicago", "elevM": 148, "hasPrecip": true},
  "obTimestamp": 1795000000, "obDateTime": "2026-11-18T10:26:40-06:00",
  "ob": {"tempC": 21.1, "humidity": 55, "windDir": "SSE", "isDay": true, "precipMM": null},
  "periods": [{"timestamp": 1795003600, "tempC": 22.0}, {"timestamp": 1795007200, "tempC": 22.8}],
  "qc": {"checked": true}})";

// Stores per timed batch; the batch ends when its files are written.
constexpr int kStoreBatch = 100;
// Files the lookups cycle through (all in the page cache after the first pass).
constexpr std::size_t kReadKeys = 200;

// A caches directory of our own, removed when the program ends.
class TemporaryCachesDirectory {
 public:
  TemporaryCachesDirectory() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/ovrin-cache-benchmark-XXXXXX";
    if (!::mkdtemp(pattern.data())) fail("cannot make a temporary directory");
    path_ = pattern;
    OVNFileManager::setCachesDirectory(path_);
  }
  ~TemporaryCachesDirectory() {
    OVNFileManager::setCachesDirectory(std::nullopt);
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TemporaryCachesDirectory(const TemporaryCachesDirectory&) = delete;
  TemporaryCachesDirectory& operator=(const TemporaryCachesDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

TemporaryCachesDirectory* cachesDirectory = nullptr;  // set by main for the program's run

struct DiskSetUp {
  OVNDiskCacheRef cache;
  std::shared_ptr<Observation> observation;
  // The record a store writes, its archive, and where the anchors write it.
  OVNCachedContentRef record;
  std::string archive;
  std::string anchorDirectory;
  std::string directory;  // the cache's own
  std::vector<std::string> storeKeys;
  std::vector<std::string> readKeys;
};

DiskSetUp* madeDiskSetUp = nullptr;  // once a disk row has run

DiskSetUp& diskSetUp() {
  static DiskSetUp* setUp = [] {
    auto* made = new DiskSetUp;
    auto mapper = makeWeatherMapper();
    if (!mapper) fail("the worked model tables did not register");
    made->observation =
        mapper->createObjectWithClass<Observation>(OVNJSONSerialization::JSONObjectWithData(kObservationJSON));
    if (!made->observation) fail("the observation did not map");
    made->record = OVNCachedContent::cachedContentWithObject(made->observation, std::nullopt);
    auto data = OVNKeyedArchiver::archivedDataWithRootObject(made->record, false, nullptr);
    if (!data) fail("the record did not archive");
    made->archive = std::string(data->view());

    made->cache = OVNDiskCache::initWithName("CacheBenchmark");
    made->anchorDirectory = cachesDirectory->path() + "/anchor";
    if (!OVNFileManager::createDirectoryAtPath(made->anchorDirectory, true)) fail("cannot make the anchor directory");
    for (int i = 0; i < kStoreBatch; ++i) made->storeKeys.push_back("stored-" + std::to_string(i));
    for (std::size_t i = 0; i < kReadKeys; ++i) {
      made->readKeys.push_back("read-" + std::to_string(i));
      made->cache->setObject(made->observation, made->readKeys.back());
    }
    made->cache->waitUntilFilesAreWritten();
    made->directory = cachesDirectory->path() + "/CacheBenchmark";
    if (!OVNFileManager::fileExistsAtPath(made->directory + "/" + made->readKeys[0])) fail("no file was written");
    madeDiskSetUp = made;
    return made;
  }();
  return *setUp;
}

void setDiskCounters(benchmark::State& state, int itemsPerIteration) {
  const auto items = static_cast<double>(state.iterations()) * itemsPerIteration;
  state.SetItemsProcessed(static_cast<std::int64_t>(items));
  state.counters["per_item"] = benchmark::Counter(items, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// setObject of the observation under 100 keys, then waitUntilFilesAreWritten: the files
// are written (archive, write, rename) on the disk caches' work queue before the batch ends.
void BM_DiskCacheStoreObservation(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  for (auto _ : state) {
    for (const std::string& key : disk.storeKeys) disk.cache->setObject(disk.observation, key);
    disk.cache->waitUntilFilesAreWritten();
  }
  setDiskCounters(state, kStoreBatch);
}
BENCHMARK(BM_DiskCacheStoreObservation)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The archiving part of a store on its own.
void BM_Anchor_ArchiveRecord(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  for (auto _ : state) {
    benchmark::DoNotOptimize(OVNKeyedArchiver::archivedDataWithRootObject(disk.record, false, nullptr));
  }
  setDiskCounters(state, 1);
  state.counters["archive_bytes"] = static_cast<double>(disk.archive.size());
}
BENCHMARK(BM_Anchor_ArchiveRecord)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The file part of a store on its own: the same archive bytes under 100 names, each written
// to a temporary file and renamed into place, as the cache does (no fsync either).
void BM_Anchor_WriteRenameArchiveBytes(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  std::vector<std::string> targets;
  for (int i = 0; i < kStoreBatch; ++i) targets.push_back(disk.anchorDirectory + "/stored-" + std::to_string(i));
  const std::string temporary = disk.anchorDirectory + "/.writing.tmp";
  for (auto _ : state) {
    for (const std::string& target : targets) {
      const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
      if (fd < 0) fail("cannot open the anchor's file");
      if (::write(fd, disk.archive.data(), disk.archive.size()) != static_cast<ssize_t>(disk.archive.size())) {
        fail("cannot write the anchor's file");
      }
      ::close(fd);
      if (::rename(temporary.c_str(), target.c_str()) != 0) fail("cannot rename the anchor's file");
    }
  }
  setDiskCounters(state, kStoreBatch);
}
BENCHMARK(BM_Anchor_WriteRenameArchiveBytes)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The library's own atomic write of the same bytes under the same 100 names, on the calling
// thread: what the work queue runs for each store once the record is archived.
void BM_FileManagerWriteAtomically(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  std::vector<std::string> targets;
  for (int i = 0; i < kStoreBatch; ++i) targets.push_back(disk.anchorDirectory + "/atomic-" + std::to_string(i));
  for (auto _ : state) {
    for (const std::string& target : targets) {
      if (!OVNFileManager::writeFileAtomically(target, disk.archive, false)) fail("the atomic write failed");
    }
  }
  setDiskCounters(state, kStoreBatch);
}
BENCHMARK(BM_FileManagerWriteAtomically)->Unit(benchmark::kMicrosecond)->UseRealTime();

// objectForKey on keys whose memory layer was emptied: every lookup reads and unarchives the
// file on the work queue (a value read from a file is not put back into memory).
void BM_DiskCacheLookupFromFile(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  disk.cache->clearInternalCache();
  if (disk.cache->objectInMemoryForKey(disk.readKeys[0]).isPresent()) fail("the memory layer was not emptied");
  if (!disk.cache->objectForKey(disk.readKeys[0]).objectAs<Observation>()) fail("the file did not read back");
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(disk.cache->objectForKey(disk.readKeys[next]));
    next = next + 1 == kReadKeys ? 0 : next + 1;
  }
  if (disk.cache->objectInMemoryForKey(disk.readKeys[0]).isPresent()) fail("a file lookup filled the memory layer");
  setDiskCounters(state, 1);
}
BENCHMARK(BM_DiskCacheLookupFromFile)->Unit(benchmark::kMicrosecond)->UseRealTime();

std::string readWholeFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) fail("cannot open a cache file");
  struct stat status {};
  ::fstat(fd, &status);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  if (::read(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) fail("short read");
  ::close(fd);
  return bytes;
}

// The file part of a lookup on its own: open, read, close of the same files.
void BM_Anchor_ReadFileBytes(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(readWholeFile(disk.directory + "/" + disk.readKeys[next]));
    next = next + 1 == kReadKeys ? 0 : next + 1;
  }
  setDiskCounters(state, 1);
}
BENCHMARK(BM_Anchor_ReadFileBytes)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The decoding part of a lookup on its own: the archive bytes (in memory) into a record.
void BM_Anchor_UnarchiveRecord(benchmark::State& state) {
  DiskSetUp& disk = diskSetUp();
  for (auto _ : state) {
    benchmark::DoNotOptimize(OVNKeyedUnarchiver::unarchiveObjectWithData(*OVNData::fromString(disk.archive)));
  }
  setDiskCounters(state, 1);
}
BENCHMARK(BM_Anchor_UnarchiveRecord)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  TemporaryCachesDirectory directory;
  cachesDirectory = &directory;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  // Nothing may still be writing into the directory when it is removed.
  if (madeDiskSetUp) madeDiskSetUp->cache->waitUntilFilesAreWritten();
  return 0;
}
