#include "Cache/OVNDiskCache.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "Cache/detail/OVNCacheMemoryLayer.h"
#include "Platform/Dispatch/OVNDispatchQueue.h"
#include "Platform/Network/OVNURL.h"
#include "Platform/Objects/OVNClass.h"
#include "Platform/Objects/OVNError.h"
#include "Platform/Objects/OVNException.h"
#include "Platform/Objects/OVNProperties.h"
#include "Platform/Serialization/OVNKeyedArchiver.h"
#include "Platform/Serialization/OVNKeyedUnarchiver.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/System/OVNFileManager.h"
#include "Platform/Text/OVNCharacterSet.h"
#include "Platform/Text/OVNString.h"
#include "Platform/Values/OVNData.h"

OVN_PROPERTIES(OVNDiskCache, directory)

namespace {

// ---- The one work queue of all disk caches ------------------------------------------------

// Each construction of a disk cache puts a new serial queue in the one shared place, and
// later work goes there while earlier work may still be running on the previous queue. So
// that a later store, removal or lookup of a key never overtakes an earlier one, each new
// queue starts by waiting for its predecessor to drain: the queues form one chain, in order.
class WorkQueues {
 public:
  void replace(const std::string& label) {
    auto fresh = OVNDispatchQueue::createSerial(label);
    std::lock_guard guard(lock_);
    // Queued first, under the lock, so no task can reach the new queue ahead of it.
    fresh->async([previous = current_] {
      if (previous) previous->sync([] {});
    });
    current_ = std::move(fresh);
  }
  void async(std::function<void()> task) { current()->async(std::move(task)); }
  void sync(const std::function<void()>& task) { current()->sync(task); }
  // Waits for the newest queue, which runs only after every older one has drained.
  void waitForAll() {
    current()->sync([] {});
  }

 private:
  OVNDispatchQueueRef current() {
    std::lock_guard guard(lock_);
    return current_;
  }

  std::mutex lock_;
  OVNDispatchQueueRef current_;
};

WorkQueues& workQueues() {
  static auto* queues = new WorkQueues;  // never destroyed: pool threads may still use it at exit
  return *queues;
}

// ---- Names and paths --------------------------------------------------------------------------

// The directory's name below the caches directory: the name percent-encoded for a URL path
// ("/" stays, so a name may nest). Components that would not be a directory of their own
// ("", ".", "..") are dropped; with none left the class name serves.
std::string directoryNameFor(const std::string& name, const std::string& className) {
  const std::string encoded =
      OVNString::stringByAddingPercentEncoding(name, OVNCharacterSet::URLPathAllowedCharacterSet());
  std::string result;
  std::size_t start = 0;
  while (start <= encoded.size()) {
    std::size_t end = encoded.find('/', start);
    if (end == std::string::npos) end = encoded.size();
    const std::string_view component(encoded.data() + start, end - start);
    if (!component.empty() && component != "." && component != "..") {
      if (!result.empty()) result += '/';
      result += component;
    }
    start = end + 1;
  }
  return result.empty() ? className : result;
}

// Whether `key` names a file strictly inside the directory.
bool isContainedKey(std::string_view key) {
  if (key.find('\0') != std::string_view::npos) return false;
  bool hasComponent = false;
  std::size_t start = 0;
  while (start <= key.size()) {
    std::size_t end = key.find('/', start);
    if (end == std::string_view::npos) end = key.size();
    const std::string_view component = key.substr(start, end - start);
    if (component == "." || component == "..") return false;
    hasComponent = hasComponent || !component.empty();
    start = end + 1;
  }
  return hasComponent;
}

// ---- Files ------------------------------------------------------------------------------------

// The record in the file, or null for anything that is not one. Archives come from outside
// the process's control (another version, another program, a damaged disk), so even an
// object's own decoding error counts as a miss.
OVNCachedContentRef readRecord(const std::string& path) {
  const auto bytes = OVNFileManager::contentsAtPath(path);
  if (!bytes || bytes->empty()) return nullptr;
  try {
    return OVNKeyedUnarchiver::unarchiveObjectWithData(*OVNData::fromString(*bytes)).objectAs<OVNCachedContent>();
  } catch (const std::exception&) {  // OVNException, or an allocation a corrupt length asked for
    return nullptr;
  }
}

// Failures are ignored, as a cache may drop what it cannot keep; an exception must not
// escape onto the work queue's thread.
void writeRecord(const std::string& path, const OVNCachedContentRef& record) {
  try {
    if (auto data = OVNKeyedArchiver::archivedDataWithRootObject(record, false, nullptr)) {
      OVNFileManager::writeFileAtomically(path, data->view(), false);
    }
  } catch (const std::exception&) {
  }
}

// A write's temporary file that no write has touched for an hour: its writer was killed.
// (A live write takes far less; younger ones may belong to another process writing now.)
bool isAbandonedTemporaryFile(const std::string& path, const std::optional<OVNFileAttributes>& attributes) {
  constexpr double abandonedAfter = 3600;
  const std::size_t slash = path.rfind('/');
  return attributes && !attributes->isDirectory &&
         OVNFileManager::isTemporaryFileName(
             std::string_view(path).substr(slash == std::string::npos ? 0 : slash + 1)) &&
         attributes->modificationDate.timeIntervalSinceNow() < -abandonedAfter;
}

void logAttributeFailure(const std::string& className, const std::shared_ptr<OVNError>& error) {
  OVNConsoleLog::writeFormat("%@ - Error reading file attributes: %@", className, error);
}

}  // namespace

// ---- The cache --------------------------------------------------------------------------------

OVNDiskCache::OVNDiskCache() : memory_(std::make_unique<ovn::detail::OVNCacheMemoryLayer>()) {}

OVNDiskCache::~OVNDiskCache() = default;

std::shared_ptr<OVNDiskCache> OVNDiskCache::sharedCache(const OVNClass& receiver) {
  return sharedInstance<OVNDiskCache>(receiver);
}

void OVNDiskCache::setUpWithName(std::string name) {
  OVNCache::setUpWithName(std::move(name));
  if (auto caches = OVNFileManager::cachesDirectory()) {
    directoryPath_ = *caches + "/" + directoryNameFor(this->name(), className());
    directory_ = OVNURL::fileURLWithPath(*directoryPath_);
  }
  OVNConsoleLog::writeFormat("%@ - Creating disk cache in directory: %@", className(),
                             directoryPath_ ? OVNValue(*directoryPath_) : OVNValue());
  std::shared_ptr<OVNError> error;
  if (!directoryPath_) {
    error = OVNError::errorWithDomain(OVNCocoaErrorDomain, OVNFileNoSuchFileError,
                                      "No caches directory: neither XDG_CACHE_HOME nor HOME is set.");
  }
  if (error || !OVNFileManager::createDirectoryAtPath(*directoryPath_, true, &error)) {
    OVNConsoleLog::writeFormat("%@ - Error creating cache directory (%@): %@", className(), directory_, error);
  }
  memory_->setName(this->name());
  workQueues().replace(this->name());
  removeExpiredObjects();
}

OVNMemoryStore& OVNDiskCache::internalCache() const { return memory_->store(); }

std::shared_ptr<OVNDiskCache> OVNDiskCache::strongSelf() { return std::static_pointer_cast<OVNDiskCache>(self()); }

std::optional<std::string> OVNDiskCache::filePathForKey(std::string_view key) const {
  if (!directoryPath_ || !isContainedKey(key)) return std::nullopt;
  return *directoryPath_ + "/" + std::string(key);
}

std::shared_ptr<OVNURL> OVNDiskCache::URLForKey(std::string_view key) const {
  return directory_ ? directory_->URLByAppendingPathComponent(key) : nullptr;
}

// ---- Lookups ----------------------------------------------------------------------------------

OVNCachedContentRef OVNDiskCache::readRecordWaiting(const std::string& path) {
  OVNCachedContentRef record;
  workQueues().sync([&] { record = readRecord(path); });
  return record;
}

OVNValue OVNDiskCache::objectForKey(std::string_view key, std::optional<OVNDate> expires, const ContentBlock& content) {
  OVNCachedContentRef record = memory_->record(key);
  if (!record) {
    if (const auto path = filePathForKey(key)) record = readRecordWaiting(*path);
  }
  if (record && OVNExpirable::isExpired(record->expires())) {
    removeObjectForKey(key);
    record = nullptr;
  }
  if (!record && content) {
    OVNValue made = content();
    if (made.isPresent()) {
      record = memory_->put(key, std::move(made), expires);
      if (const auto path = filePathForKey(key)) queueWrite(*path, record);
    }
  }
  return record ? record->object() : OVNValue();
}

bool OVNDiskCache::objectExistsForKey(std::string_view key) {
  if (auto inMemory = memory_->holdsUnexpired(key)) return *inMemory;
  return objectForKey(key).isPresent();
}

OVNValue OVNDiskCache::objectInMemoryForKey(std::string_view key) { return memory_->unexpiredObject(key); }

// ---- Stores and removals ----------------------------------------------------------------------

void OVNDiskCache::queueWrite(const std::string& path, OVNCachedContentRef record) {
  workQueues().async([self = strongSelf(), path, record = std::move(record)] { writeRecord(path, record); });
}

void OVNDiskCache::queueDeletion(const std::string& path) {
  workQueues().async([self = strongSelf(), path] { OVNFileManager::removeItemAtPath(path); });
}

void OVNDiskCache::setObject(OVNValue object, std::string_view key, std::optional<OVNDate> expires) {
  auto record = memory_->put(key, std::move(object), expires);
  if (const auto path = filePathForKey(key)) queueWrite(*path, std::move(record));
}

void OVNDiskCache::removeObjectForKey(std::string_view key) {
  memory_->remove(key);
  if (const auto path = filePathForKey(key)) queueDeletion(*path);
}

void OVNDiskCache::removeAllObjects() {
  memory_->removeAll();
  if (!directoryPath_) return;
  workQueues().async([self = strongSelf(), path = *directoryPath_] {
    OVNFileManager::removeItemAtPath(path);
    OVNFileManager::createDirectoryAtPath(path, true);
  });
}

void OVNDiskCache::clearInternalCache() { memory_->removeAll(); }

void OVNDiskCache::waitUntilFilesAreWritten() { workQueues().waitForAll(); }

// ---- Directory walks --------------------------------------------------------------------------

template <class Decide>
void OVNDiskCache::queueForEachItem(Decide decide) {
  if (!directoryPath_) return;
  for (std::string& item : OVNFileManager::subpathsOfDirectoryAtPath(*directoryPath_)) {
    std::shared_ptr<OVNError> error;
    auto attributes = OVNFileManager::attributesOfItemAtPath(item, &error);
    if (!attributes) logAttributeFailure(className(), error);
    workQueues().async([self = strongSelf(), decide, path = std::move(item), attributes] { decide(path, attributes); });
  }
}

void OVNDiskCache::removeExpiredObjects() {
  queueForEachItem([](const std::string& path, const std::optional<OVNFileAttributes>& attributes) {
    if (isAbandonedTemporaryFile(path, attributes)) {
      OVNFileManager::removeItemAtPath(path);
      return;
    }
    const OVNCachedContentRef record = readRecord(path);
    if (!record || !attributes) return;
    const auto expires = record->expires();
    if (expires && *expires < attributes->modificationDate) OVNFileManager::removeItemAtPath(path);
  });
}

void OVNDiskCache::removeObjectsOlderThanInterval(double interval) {
  queueForEachItem([interval](const std::string& path, const std::optional<OVNFileAttributes>& attributes) {
    if (attributes && attributes->modificationDate.timeIntervalSinceNow() < -interval) {
      OVNFileManager::removeItemAtPath(path);
    }
  });
}

std::uint64_t OVNDiskCache::currentFilesize() const {
  if (!directoryPath_) return 0;
  std::uint64_t total = 0;
  for (const std::string& item : OVNFileManager::subpathsOfDirectoryAtPath(*directoryPath_)) {
    std::shared_ptr<OVNError> error;
    if (auto attributes = OVNFileManager::attributesOfItemAtPath(item, &error)) {
      total += attributes->size;
    } else {
      logAttributeFailure(className(), error);
    }
  }
  return total;
}
