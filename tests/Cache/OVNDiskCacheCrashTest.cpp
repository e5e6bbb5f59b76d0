// A process killed at any moment while storing into a disk cache leaves, under each key,
// either nothing or one whole value that was stored under it: never a torn or mixed archive.
// The test program runs itself again as the writer and kills it with SIGKILL.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Cache/OVNDiskCache.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Values/OVNDictionary.h"
#include "Support/ChildProcess.h"
#include "Support/ScopedEnvironment.h"

namespace {

// Set only in the writer's environment.
constexpr const char* kWriterCaches = "OVRIN_CRASH_WRITER_CACHES";
constexpr const char* kWriterRound = "OVRIN_CRASH_WRITER_ROUND";
constexpr const char* kWriterProgress = "OVRIN_CRASH_WRITER_PROGRESS_FD";
constexpr int kStores = 1000;
constexpr int kKeys = 100;
constexpr int kRounds = 8;

// A few KB that differ for every store, so that bytes of two stores mixed would show.
std::string payloadFor(const std::string& key, int round, int store) {
  const std::string unit = key + "/" + std::to_string(round) + "/" + std::to_string(store) + ";";
  std::string payload;
  while (payload.size() < 4096) payload += unit;
  return payload;
}

// The (round, store) a value read under `key` says it came from, after checking that all
// of it agrees with that; nullopt (and a failure) when it does not.
std::optional<std::pair<int, int>> storeOf(const std::string& key, const OVNValue& value) {
  const auto dictionary = value.dictionary();
  const auto round = dictionary ? dictionary->objectForKey("round").longLongValue() : std::nullopt;
  const auto store = dictionary ? dictionary->objectForKey("store").longLongValue() : std::nullopt;
  const bool whole = round && store && dictionary->count() == 4 && dictionary->objectForKey("key") == key &&
                     "k" + std::to_string(*store % kKeys) == key &&
                     dictionary->objectForKey("payload") == payloadFor(key, int(*round), int(*store));
  EXPECT_TRUE(whole) << key << " read as " << value.description().substr(0, 200);
  return whole ? std::optional(std::pair(int(*round), int(*store))) : std::nullopt;
}

// Starts the writer for `round` and kills it once it has reported `ticks` stores (one more
// than kStores: once every file was written). False when it died on its own.
bool runWriterAndKill(const std::string& caches, int round, int ticks) {
  int progress[2];
  if (::pipe(progress) != 0) return false;
  ::fcntl(progress[0], F_SETFD, FD_CLOEXEC);  // only the write end goes to the writer
  ScopedEnvironment environment;
  environment.set(kWriterCaches, caches);
  environment.set(kWriterRound, std::to_string(round));
  environment.set(kWriterProgress, std::to_string(progress[1]));
  const std::string log = caches + "/writer.log";
  std::filesystem::remove(log);
  pid_t pid = ChildProcess::spawn({std::filesystem::read_symlink("/proc/self/exe").string()}, log);
  ::close(progress[1]);
  char tick;
  int seen = 0;
  while (seen < ticks && ::read(progress[0], &tick, 1) == 1) ++seen;
  ::kill(pid, SIGKILL);
  const int status = ChildProcess::waitForExit(pid);
  ::close(progress[0]);  // only now: a writer that wrote into a closed pipe would die of SIGPIPE first
  const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL && seen == ticks;
  if (!killed) {
    std::ifstream text(log);
    ADD_FAILURE() << "the writer ended by itself after " << seen << " of " << ticks << " stores, status " << status
                  << ":\n"
                  << std::string(std::istreambuf_iterator<char>(text), {});
  }
  return killed;
}

// The writer: stores kStores values into the cache, reporting each on the progress pipe,
// then waits for its files and to be killed. It runs when the test program is started with
// the writer's environment, before the test runner starts, so it never shows up as a test.
[[noreturn]] void runWriter(const char* caches) {
  OVNFileManager::setCachesDirectory(std::string(caches));
  const int round = std::atoi(std::getenv(kWriterRound));
  const int progress = std::atoi(std::getenv(kWriterProgress));
  auto cache = OVNDiskCache::initWithName("crash");
  const char tick = '+';
  for (int store = 0; store < kStores; ++store) {
    const std::string key = "k" + std::to_string(store % kKeys);
    cache->setObject(
        OVNValue::dictionary(
            {{"key", key}, {"round", round}, {"store", store}, {"payload", payloadFor(key, round, store)}}),
        key);
    if (::write(progress, &tick, 1) != 1) std::_Exit(2);
  }
  cache->waitUntilFilesAreWritten();
  if (::write(progress, &tick, 1) != 1) std::_Exit(2);
  for (;;) ::pause();
}

[[maybe_unused]] const bool writerStarted = [] {
  if (const char* caches = std::getenv(kWriterCaches)) runWriter(caches);
  return false;
}();

}  // namespace

TEST(OVNDiskCacheCrashTest, KilledWriterLeavesWholeValuesOrNothing) {
  const std::string caches = OVNFileManager::cachesDirectory().value();
  const std::string directory = caches + "/crash";
  std::filesystem::remove_all(directory);
  const char* fixedSeed = std::getenv("OVRIN_CRASH_SEED");
  const unsigned seed = fixedSeed ? unsigned(std::strtoul(fixedSeed, nullptr, 10)) : std::random_device{}();
  std::printf("seed %u (OVRIN_CRASH_SEED=<seed> repeats the moments of the kills)\n", seed);
  std::mt19937 random(seed);
  std::vector<std::string> keys;
  for (int index = 0; index < kKeys; ++index) keys.push_back("k" + std::to_string(index));

  std::map<std::string, std::pair<int, int>> newest;  // the latest store read so far, per key
  int present = 0;
  for (int round = 1; round <= kRounds; ++round) {
    const int ticks = std::uniform_int_distribution(1, kStores + 1)(random);
    ASSERT_TRUE(runWriterAndKill(caches, round, ticks)) << "round " << round;

    auto cache = OVNDiskCache::initWithName("crash");  // a new memory layer: every lookup reads its file
    for (const std::string& key : keys) {
      const OVNValue value = cache->objectForKey(key);
      // A file under a key's name is always a whole archive, so it never reads as a miss.
      EXPECT_EQ(value.isPresent(), std::filesystem::exists(directory + "/" + key)) << key << ", round " << round;
      if (value.isMissing()) continue;
      ++present;
      const auto store = storeOf(key, value);
      if (!store) continue;
      EXPECT_LE(store->first, round) << key;
      EXPECT_GE(*store, newest[key]) << key << " went back to an older store in round " << round;
      newest[key] = *store;
    }
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      const bool known = name.starts_with(".ovn-") || std::ranges::count(keys, name) == 1;
      EXPECT_TRUE(known) << "unexpected file " << name << " in round " << round;
    }
  }
  EXPECT_GT(present, 0) << "no store ever reached a file, so nothing was tested";
  std::printf("%d of %d lookups found a value\n", present, kRounds * kKeys);
}
