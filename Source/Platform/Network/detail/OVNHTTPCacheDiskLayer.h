#pragma once
// The cache's disk layer: a directory holding an SQLite index ("index.sqlite") and one file
// per body (OVNHTTPCacheBodyFiles). Entries survive the process; the least recently used
// go while the layer is over capacity; an entry larger than a twentieth of the capacity is
// not kept. docs/HTTP_CACHE.md describes the layout, the order of writes that keeps the
// directory consistent when the process dies at any moment, and what each failure does.
//
// Thread-safe: every member takes the layer's mutex, which guards the one connection; the
// memory layer's mutex is never held here. Each kind of failure is logged once per layer.

#include <bitset>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Platform/Network/detail/OVNHTTPCacheBodyFiles.h"
#include "Platform/Network/detail/OVNHTTPCacheItem.h"
#include "Platform/Network/detail/OVNSQLiteDatabase.h"

class OVNURLRequest;

namespace ovn::detail {

class OVNHTTPCacheDiskLayer {
 public:
  using ItemRef = std::shared_ptr<const OVNHTTPCacheItem>;
  //! The number the index's user_version holds; an index with another is discarded.
  static constexpr std::int64_t formatVersion = 1;
  static constexpr const char* indexFileName = "index.sqlite";

  //! Null, after logging why, when the directory's index can neither be used nor made anew.
  static std::unique_ptr<OVNHTTPCacheDiskLayer> open(const std::string& directory, std::uint64_t capacity);
  ~OVNHTTPCacheDiskLayer();

  //! The key's entry when the request matches its Vary and its body is intact; an entry
  //! whose body file is missing or altered is removed. A hit counts as a use.
  ItemRef lookup(const std::string& key, const OVNURLRequest& request);
  //! Replaces the key's entry; an entry too large, or one that cannot be written, removes it.
  void store(const OVNHTTPCacheItem& item);
  void remove(const std::string& key);
  void removeAll();
  void removeStoredSince(OVNDate date);

  std::uint64_t capacity() const;
  void setCapacity(std::uint64_t bytes);
  //! Bodies plus index records.
  std::uint64_t usage() const;
  const std::string& directory() const { return directory_; }

 private:
  enum class Problem { index, format, body, write, unusable, count };
  enum class IndexState { ready, damaged, unusable };
  struct Record;      // an item as the index stores it, made before taking the mutex
  struct Footprint {  // what removing an entry needs to know
    std::string key;
    std::string bodyFile;
    std::uint64_t size;
  };

  OVNHTTPCacheDiskLayer(std::string directory, std::uint64_t capacity);
  bool openIndex();
  IndexState tryOpenIndex(std::string* reason);
  IndexState checkIdentity();
  bool prepareSchema();
  void discardDirectory();
  void sweepStrays();
  void loadTotals();

  static std::optional<Record> recordOf(const OVNHTTPCacheItem& item);
  ItemRef itemFromRow(const std::string& key, const OVNSQLiteDatabase::Row& row, const OVNURLRequest& request);
  ItemRef removeUnreadable(const std::string& key);
  bool bodyIsIntact(const std::optional<std::string>& body, const OVNSQLiteDatabase::Row& row) const;
  bool insert(const std::string& key, const Record& record, const std::string& bodyFile,
              std::optional<Footprint>* replaced);
  std::optional<Footprint> footprintOf(const std::string& key);
  //! The body file of the key's entry when it holds exactly the record's body (a refresh
  //! after a 304 changes only the fields), so that it need not be written again.
  std::optional<std::string> unchangedBodyFile(const std::string& key, const Record& record);
  static Footprint footprintFromRow(const OVNSQLiteDatabase::Row& row);
  void removeLocked(const std::string& key);
  void evictLocked();
  void forget(const Footprint& footprint);
  void databaseFailed(const char* action);
  void logOnce(Problem problem, const std::string& text);
  std::string indexPath() const { return directory_ + "/" + indexFileName; }

  mutable std::mutex mutex_;  // guards everything below
  std::string directory_;
  OVNHTTPCacheBodyFiles bodies_;
  std::unique_ptr<OVNSQLiteDatabase> database_;  // null once the index failed beyond repair
  std::uint64_t capacity_;
  std::uint64_t usage_ = 0;
  std::int64_t nextAccess_ = 1;  // the order of use; unlike a time it never ties
  std::bitset<static_cast<std::size_t>(Problem::count)> logged_;
};

}  // namespace ovn::detail
