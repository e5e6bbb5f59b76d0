#pragma once
// OVNDiskCache: the cache contract on disk. Each entry is one file in the cache's directory
// (the caches directory, OVNFileManager::cachesDirectory(), joined with the cache's name
// percent-encoded for a URL path) holding the keyed archive of its OVNCachedContent; a
// memory layer (internalCache, an OVNMemoryStore) in front answers repeated lookups.
//
// Files: the key is the file's name as it stands (no hashing, no escaping), so a key with
// "/" addresses a file in a subdirectory, which must already exist (otherwise the write
// fails silently). Keys that would leave the directory or name it (empty, or with a "." or
// ".." component, or a NUL byte) never touch a file: they live in the memory layer only.
// A file is written to a temporary name and renamed into place, so a crash never leaves a
// torn archive under a key's name. A file that does not read back as a record (corrupt,
// empty, truncated, foreign) is a miss. Files are not synced to disk: a power cut may lose
// recent stores, never corrupt them into wrong values.
//
// Work: writes, deletions, clean-up decisions and the file reads of lookups run in order on
// one serial work queue shared by every disk cache of the process. Each construction makes
// a new queue and puts it in that one place, so all disk caches then use the newest
// cache's queue (kept on purpose; work queued before runs on the older queue, and the new
// queue starts only once the older one has drained, so work never runs out of order). Stores
// never wait for the disk; a lookup that misses the memory layer waits until its read has
// run, after every write queued before it on the same queue. A value read from a file is
// not put into the memory layer: each such lookup reads the file again.
//
// Kept on purpose: removeExpiredObjects deletes a file only when its content had expired
// before the file was written (expiry compared with the file's modification date);
// content whose expiry passed later stays until a lookup finds it. setMaxFilesize with a
// limit below currentFilesize empties the whole cache. removeExpiredObjects (which every
// construction runs) also deletes the temporary files of writes abandoned over an hour ago
// by a killed process.
//
// Diagnostics go to the console (OVNConsoleLog), not the logger: "<class> - Creating disk
// cache in directory: <path>" at construction, "<class> - Error creating cache directory
// (<URL>): <error>" when the directory cannot be made (the cache then works in memory),
// and "<class> - Error reading file attributes: <error>" during directory walks.
//
// Threads: any thread. A stored value is archived later on the work queue: do not change
// it after storing it. Never use a disk cache from code that runs on its work queue (an
// encodeWithCoder called while archiving): a lookup there would wait for itself, and
// raises OVNException (NSInternalInconsistencyException) instead. Queued work holds the
// cache alive until it has run.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Cache/OVNCache.h"
#include "Cache/OVNCachedContent.h"
#include "OvrinCoreExport.h"

class OVNMemoryStore;
class OVNURL;
namespace ovn::detail {
class OVNCacheMemoryLayer;
}

class OVN_EXPORT OVNDiskCache : public OVNCache {
  OVN_CLASS(OVNDiskCache, OVNCache)

 public:
  OVNDiskCache();
  ~OVNDiskCache() override;

  //! A disk cache named `name`: creates its directory and removes expired files (see
  //! removeExpiredObjects). A name that would not give a directory of its own below the
  //! caches directory (empty, ".", "..") is replaced by the class name.
  template <class Receiver = OVNDiskCache>
  static std::shared_ptr<Receiver> initWithName(std::string name) {
    return OVNCache::initWithName<Receiver>(std::move(name));
  }
  template <class Receiver = OVNDiskCache>
  static std::shared_ptr<Receiver> init() {
    return OVNCache::init<Receiver>();
  }
  //! The disk caches' shared instance, named "OVNSharedCache" (see OVNMemoryCache).
  template <class Receiver = OVNDiskCache>
  static std::shared_ptr<OVNDiskCache> sharedCache() {
    return sharedCache(Receiver::classObject());
  }
  static std::shared_ptr<OVNDiskCache> sharedCache(const OVNClass& receiver);

  using OVNCache::objectForKey;
  using OVNCache::setObject;

  //! Bytes of every item below the directory (subdirectories count their own size), walked
  //! on the calling thread.
  std::uint64_t currentFilesize() const override;
  //! From the memory layer when it holds the key (expired content answers false and stays);
  //! otherwise whether objectForKey(key) yields a value, which reads the file.
  bool objectExistsForKey(std::string_view key) override;
  //! The memory layer's record, else the file's (waiting for the work queue); expired
  //! content is removed (memory and file) and misses; on a miss `content` makes the value,
  //! which is stored in memory and written to its file with `expires`.
  OVNValue objectForKey(std::string_view key, std::optional<OVNDate> expires, const ContentBlock& content) override;
  //! The memory layer's value; expired content is removed from memory (not from disk).
  OVNValue objectInMemoryForKey(std::string_view key) override;
  //! Into the memory layer at once; the file is written on the work queue.
  void setObject(OVNValue object, std::string_view key, std::optional<OVNDate> expires) override;
  void removeObjectForKey(std::string_view key) override;
  //! Empties the memory layer, then (queued) deletes the directory and makes it anew.
  void removeAllObjects() override;
  //! Deletes (queued) each file whose content expired before the file was written.
  void removeExpiredObjects() override;
  //! Deletes (queued) each item whose modification date lies more than `interval` seconds
  //! before now. The memory layer is not touched.
  void removeObjectsOlderThanInterval(double interval);
  //! Empties the memory layer only.
  void clearInternalCache();
  //! Returns once every file operation queued so far, by any disk cache of the process, has
  //! run (the platform's version only queued an empty task).
  void waitUntilFilesAreWritten();
  //! The key's file URL: the directory joined with the key as one path component; null
  //! when no caches directory can be named.
  std::shared_ptr<OVNURL> URLForKey(std::string_view key) const;
  //! The cache's directory; null when no caches directory can be named (no XDG_CACHE_HOME
  //! and no HOME), in which case the cache works in memory only.
  const std::shared_ptr<OVNURL>& directory() const { return directory_; }
  //! The memory layer.
  OVNMemoryStore& internalCache() const;

 protected:
  void setUpWithName(std::string name) override;

 private:
  std::optional<std::string> filePathForKey(std::string_view key) const;
  std::shared_ptr<OVNDiskCache> strongSelf();
  OVNCachedContentRef readRecordWaiting(const std::string& path);
  void queueWrite(const std::string& path, OVNCachedContentRef record);
  void queueDeletion(const std::string& path);
  // Walks the directory on the calling thread and queues `decide(path, attributes)` for
  // each item; an item whose attributes cannot be read is logged and gets nullopt.
  template <class Decide>
  void queueForEachItem(Decide decide);

  std::unique_ptr<ovn::detail::OVNCacheMemoryLayer> memory_;
  std::optional<std::string> directoryPath_;
  std::shared_ptr<OVNURL> directory_;
};

using OVNDiskCacheRef = std::shared_ptr<OVNDiskCache>;
