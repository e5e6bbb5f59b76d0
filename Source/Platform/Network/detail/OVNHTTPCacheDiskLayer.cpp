#include "Platform/Network/detail/OVNHTTPCacheDiskLayer.h"

#include <unistd.h>

#include <system_error>
#include <unordered_set>

#include "Platform/Network/OVNCachedURLResponse.h"
#include "Platform/Network/detail/OVNHTTPCacheMetadata.h"
#include "Platform/Serialization/OVNDigest.h"
#include "Platform/Serialization/OVNPropertyListSerialization.h"
#include "Platform/System/OVNConsoleLog.h"
#include "Platform/Values/OVNClock.h"
#include "Platform/Values/OVNData.h"

namespace ovn::detail {

namespace {

using Database = OVNSQLiteDatabase;

// PRAGMA application_id of an index this cache wrote: "OVNC".
constexpr std::int64_t kApplicationId = 0x4F564E43;
// An index found damaged is discarded and made anew once; failing again, the layer gives up.
constexpr int kOpenAttempts = 2;
constexpr const char* kQuickCheckPassed = "ok";
constexpr const char* kIndexFileSuffixes[] = {"", "-wal", "-shm", "-journal"};

constexpr const char* kConnectionSettings = "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;";
constexpr const char* kSchema =
    "BEGIN;"
    "CREATE TABLE IF NOT EXISTS entries ("
    "  key TEXT PRIMARY KEY NOT NULL, vary BLOB, metadata BLOB NOT NULL,"
    "  request_date REAL NOT NULL, response_date REAL NOT NULL, stored_date REAL NOT NULL,"
    "  body_file TEXT NOT NULL, body_length INTEGER NOT NULL, body_sha256 BLOB NOT NULL,"
    "  last_access REAL NOT NULL, access_order INTEGER NOT NULL, size INTEGER NOT NULL);"
    "CREATE INDEX IF NOT EXISTS entries_by_access ON entries(access_order);"
    "CREATE INDEX IF NOT EXISTS entries_by_stored_date ON entries(stored_date);";

constexpr const char* kSelectEntry =
    "SELECT vary, metadata, request_date, response_date, stored_date, body_file, body_length, body_sha256 "
    "FROM entries WHERE key = ?1";
// Columns of kSelectEntry.
enum EntryColumn { kVary, kMetadata, kRequestDate, kResponseDate, kStoredDate, kBodyFile, kBodyLength, kBodySHA256 };

constexpr const char* kSelectFootprint = "SELECT key, body_file, size FROM entries WHERE key = ?1";
constexpr const char* kSelectBody = "SELECT body_file, body_length, body_sha256 FROM entries WHERE key = ?1";
constexpr const char* kSelectLeastRecentlyUsed =
    "SELECT key, body_file, size FROM entries ORDER BY access_order LIMIT 1";
constexpr const char* kSelectStoredSince = "SELECT key, body_file, size FROM entries WHERE stored_date >= ?1";
constexpr const char* kSelectBodyFiles = "SELECT body_file FROM entries";
constexpr const char* kSelectTotals = "SELECT COALESCE(SUM(size), 0), COALESCE(MAX(access_order), 0) FROM entries";
constexpr const char* kInsertEntry =
    "INSERT OR REPLACE INTO entries (key, vary, metadata, request_date, response_date, stored_date, body_file,"
    " body_length, body_sha256, last_access, access_order, size) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10,"
    " ?11, ?12)";
constexpr const char* kTouchEntry = "UPDATE entries SET last_access = ?1, access_order = ?2 WHERE key = ?3";
constexpr const char* kDeleteEntry = "DELETE FROM entries WHERE key = ?1";
constexpr const char* kDeleteStoredSince = "DELETE FROM entries WHERE stored_date >= ?1";
constexpr const char* kDeleteAll = "DELETE FROM entries";

std::string sha256Of(std::string_view bytes) {
  std::vector<std::uint8_t> digest = OVNDigest::SHA256(bytes);
  return std::string(digest.begin(), digest.end());
}

std::int64_t asInteger(std::uint64_t value) { return static_cast<std::int64_t>(value); }

std::optional<OVNHTTPCacheVary> varyFromCell(const Database::Cell& cell) {
  const std::string* bytes = Database::bytes(cell);
  if (!bytes) return OVNHTTPCacheVary();  // stored without Vary
  OVNData data(std::vector<std::uint8_t>(bytes->begin(), bytes->end()));
  return OVNHTTPCacheVary::fromPropertyList(
      OVNPropertyListSerialization::propertyListWithData(data, OVNPropertyListImmutable, nullptr, nullptr));
}

std::string errorText(int error) { return std::error_code(error, std::generic_category()).message(); }

OVNDate dateIn(const Database::Row& row, int column) { return OVNDate(Database::real(row[column]).value_or(0)); }

}  // namespace

struct OVNHTTPCacheDiskLayer::Record {
  std::string metadata;
  std::optional<std::string> vary;  // none without Vary
  std::string sha256;
  double requestDate;
  double responseDate;
  double storedDate;
  std::uint64_t bodyLength;
  std::uint64_t size;  // body and index record
};

OVNHTTPCacheDiskLayer::OVNHTTPCacheDiskLayer(std::string directory, std::uint64_t capacity)
    : directory_(std::move(directory)), bodies_(directory_), capacity_(capacity) {}

OVNHTTPCacheDiskLayer::~OVNHTTPCacheDiskLayer() = default;

std::unique_ptr<OVNHTTPCacheDiskLayer> OVNHTTPCacheDiskLayer::open(const std::string& directory,
                                                                   std::uint64_t capacity) {
  std::unique_ptr<OVNHTTPCacheDiskLayer> layer(new OVNHTTPCacheDiskLayer(directory, capacity));
  std::lock_guard guard(layer->mutex_);
  if (!layer->openIndex()) return nullptr;
  layer->sweepStrays();
  layer->loadTotals();
  layer->evictLocked();
  return layer;
}

// Opening

bool OVNHTTPCacheDiskLayer::openIndex() {
  std::string reason = "it is still damaged after being made anew";
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    IndexState state = tryOpenIndex(&reason);
    if (state == IndexState::ready) return true;
    database_.reset();
    if (state == IndexState::unusable) break;
    discardDirectory();
  }
  logOnce(Problem::unusable,
          "cannot use the cache index " + indexPath() + " (" + reason + "); the cache works in memory only");
  return false;
}

// Damage is logged here; why an index is unusable goes to `reason`, for the caller's one line.
OVNHTTPCacheDiskLayer::IndexState OVNHTTPCacheDiskLayer::tryOpenIndex(std::string* reason) {
  database_ = Database::open(indexPath(), reason);
  if (!database_) return IndexState::unusable;
  std::optional<Database::Cell> verdict = database_->scalar("PRAGMA quick_check");
  const std::string* text = verdict ? Database::bytes(*verdict) : nullptr;
  if (!text && database_->lastFailure() != Database::Failure::corrupt) {
    *reason = database_->lastMessage();
    return IndexState::unusable;
  }
  if (!text || *text != kQuickCheckPassed) {
    logOnce(Problem::index, "the cache index " + indexPath() + " is unreadable (" +
                                (text ? *text : database_->lastMessage()) +
                                "); it is discarded with the bodies and made anew");
    return IndexState::damaged;
  }
  IndexState identity = checkIdentity();
  if (identity != IndexState::ready) return identity;
  if (prepareSchema()) return IndexState::ready;
  *reason = database_->lastMessage();
  return database_->lastFailure() == Database::Failure::corrupt ? IndexState::damaged : IndexState::unusable;
}

OVNHTTPCacheDiskLayer::IndexState OVNHTTPCacheDiskLayer::checkIdentity() {
  auto tables = database_->scalar("SELECT count(*) FROM sqlite_master");
  auto application = database_->scalar("PRAGMA application_id");
  auto version = database_->scalar("PRAGMA user_version");
  if (!tables || !application || !version) {
    logOnce(Problem::index, "the cache index " + indexPath() + " is unreadable (" + database_->lastMessage() +
                                "); it is discarded with the bodies and made anew");
    return IndexState::damaged;
  }
  if (Database::integer(*tables) == 0) return IndexState::ready;  // a new, empty file
  if (Database::integer(*application) != kApplicationId) {
    logOnce(Problem::format, "the file " + indexPath() +
                                 " is not an index of this cache; it is discarded with the bodies and made anew");
    return IndexState::damaged;
  }
  std::int64_t found = Database::integer(*version).value_or(0);
  if (found == formatVersion) return IndexState::ready;
  logOnce(Problem::format, OVNFormat("the cache index %@ has format %lld, not %lld; it is discarded with the bodies "
                                     "and made anew",
                                     indexPath(), found, formatVersion));
  return IndexState::damaged;
}

bool OVNHTTPCacheDiskLayer::prepareSchema() {
  std::string schema = OVNFormat("%@PRAGMA application_id = %lld; PRAGMA user_version = %lld; COMMIT;", kSchema,
                                 kApplicationId, formatVersion);
  if (database_->executeScript(kConnectionSettings) && database_->executeScript(schema.c_str())) return true;
  database_->rollback();
  return false;
}

void OVNHTTPCacheDiskLayer::discardDirectory() {
  database_.reset();
  for (const char* suffix : kIndexFileSuffixes) ::unlink((indexPath() + suffix).c_str());
  bodies_.removeAll();
  usage_ = 0;
}

void OVNHTTPCacheDiskLayer::sweepStrays() {
  std::vector<Database::Row> rows;
  // Without the list of referenced files nothing can safely be called a stray.
  if (!database_->run(kSelectBodyFiles, {}, &rows)) return;
  std::unordered_set<std::string> referenced;
  for (const auto& row : rows) {
    if (const std::string* name = Database::bytes(row[0])) referenced.insert(*name);
  }
  bodies_.removeStrays(referenced);
}

void OVNHTTPCacheDiskLayer::loadTotals() {
  std::vector<Database::Row> rows;
  if (!database_->run(kSelectTotals, {}, &rows) || rows.empty()) return;
  usage_ = static_cast<std::uint64_t>(Database::integer(rows[0][0]).value_or(0));
  nextAccess_ = Database::integer(rows[0][1]).value_or(0) + 1;
}

// Lookups

OVNHTTPCacheDiskLayer::ItemRef OVNHTTPCacheDiskLayer::lookup(const std::string& key, const OVNURLRequest& request) {
  std::lock_guard guard(mutex_);
  if (!database_) return nullptr;
  std::vector<Database::Row> rows;
  if (!database_->run(kSelectEntry, {std::string_view(key)}, &rows)) {
    databaseFailed("read");
    return nullptr;
  }
  return rows.empty() ? nullptr : itemFromRow(key, rows.front(), request);
}

OVNHTTPCacheDiskLayer::ItemRef OVNHTTPCacheDiskLayer::itemFromRow(const std::string& key, const Database::Row& row,
                                                                  const OVNURLRequest& request) {
  std::optional<OVNHTTPCacheVary> vary = varyFromCell(row[kVary]);
  if (!vary) return removeUnreadable(key);
  if (!vary->matches(request)) return nullptr;
  const std::string* bodyFile = Database::bytes(row[kBodyFile]);
  std::optional<std::string> body = bodyFile ? bodies_.read(*bodyFile) : std::nullopt;
  if (!bodyIsIntact(body, row)) {
    logOnce(Problem::body,
            "a body file in " + directory_ + " is missing or does not match the cache index; such entries are removed");
    removeLocked(key);
    return nullptr;
  }
  const std::string* metadata = Database::bytes(row[kMetadata]);
  auto bodyData = OVNData::make(std::vector<std::uint8_t>(body->begin(), body->end()));
  auto cached = metadata ? OVNHTTPCacheMetadata::decode(*metadata, std::move(bodyData)) : nullptr;
  if (!cached) return removeUnreadable(key);
  if (!database_->run(kTouchEntry, {OVNClock::absoluteTime(), nextAccess_++, std::string_view(key)})) {
    databaseFailed("update");
  }
  OVNHTTPCache::Entry entry{cached, dateIn(row, kRequestDate), dateIn(row, kResponseDate)};
  return std::make_shared<const OVNHTTPCacheItem>(OVNHTTPCacheItem{key, *vary, entry, dateIn(row, kStoredDate)});
}

OVNHTTPCacheDiskLayer::ItemRef OVNHTTPCacheDiskLayer::removeUnreadable(const std::string& key) {
  logOnce(Problem::index, "an entry of the cache index " + indexPath() + " cannot be read; such entries are removed");
  removeLocked(key);
  return nullptr;
}

bool OVNHTTPCacheDiskLayer::bodyIsIntact(const std::optional<std::string>& body, const Database::Row& row) const {
  auto length = Database::integer(row[kBodyLength]);
  const std::string* checksum = Database::bytes(row[kBodySHA256]);
  return body && length && checksum && body->size() == static_cast<std::uint64_t>(*length) &&
         sha256Of(*body) == *checksum;
}

// Storing

std::optional<OVNHTTPCacheDiskLayer::Record> OVNHTTPCacheDiskLayer::recordOf(const OVNHTTPCacheItem& item) {
  std::optional<std::string> metadata = OVNHTTPCacheMetadata::encode(*item.entry.cachedResponse);
  if (!metadata) return std::nullopt;
  const OVNData& body = *item.entry.cachedResponse->data();
  Record record{std::move(*metadata),
                std::nullopt,
                sha256Of(body.view()),
                item.entry.requestDate.timeIntervalSinceReferenceDate(),
                item.entry.responseDate.timeIntervalSinceReferenceDate(),
                item.storedDate.timeIntervalSinceReferenceDate(),
                body.length(),
                0};
  if (!item.vary.isEmpty()) {
    OVNDataRef vary = OVNPropertyListSerialization::dataWithPropertyList(item.vary.propertyList(),
                                                                         OVNPropertyListBinaryFormat_v1_0, 0, nullptr);
    if (!vary) return std::nullopt;
    record.vary = std::string(vary->view());
  }
  record.size = body.length() + record.metadata.size() + (record.vary ? record.vary->size() : 0) + item.key.size();
  return record;
}

void OVNHTTPCacheDiskLayer::store(const OVNHTTPCacheItem& item) {
  std::optional<Record> record = recordOf(item);  // digest and encoding outside the mutex
  std::lock_guard guard(mutex_);
  if (!database_) return;
  if (!record || record->size > capacity_ / kHTTPCacheLargestEntryDivisor) {
    removeLocked(item.key);
    return;
  }
  int error = 0;
  std::optional<std::string> bodyFile = unchangedBodyFile(item.key, *record);
  const bool bodyWritten = !bodyFile;
  if (bodyWritten) bodyFile = bodies_.write(item.entry.cachedResponse->data()->view(), &error);
  if (!bodyFile) {
    logOnce(Problem::write, "cannot write a body in " + directory_ + " (" + errorText(error) +
                                "); responses are not kept on disk while this lasts");
    removeLocked(item.key);
    return;
  }
  std::optional<Footprint> replaced;
  if (!insert(item.key, *record, *bodyFile, &replaced)) {
    if (bodyWritten) bodies_.remove(*bodyFile);
    databaseFailed("store");
    return;
  }
  if (replaced && replaced->bodyFile == *bodyFile) {
    usage_ -= std::min(usage_, replaced->size);  // the same file serves the new row
  } else if (replaced) {
    forget(*replaced);
  }
  usage_ += record->size;
  evictLocked();
}

bool OVNHTTPCacheDiskLayer::insert(const std::string& key, const Record& record, const std::string& bodyFile,
                                   std::optional<Footprint>* replaced) {
  // The row names the body only once the body file is complete under its final name; the
  // file of the row it replaces is removed only after the commit.
  if (!database_->executeScript("BEGIN IMMEDIATE")) return false;
  *replaced = footprintOf(key);
  Database::Parameter vary = std::monostate{};
  if (record.vary) vary = Database::Blob{*record.vary};
  bool inserted = database_->run(
      kInsertEntry, {std::string_view(key), vary, Database::Blob{record.metadata}, record.requestDate,
                     record.responseDate, record.storedDate, std::string_view(bodyFile), asInteger(record.bodyLength),
                     Database::Blob{record.sha256}, OVNClock::absoluteTime(), nextAccess_++, asInteger(record.size)});
  if (inserted && database_->executeScript("COMMIT")) return true;
  database_->rollback();
  return false;
}

std::optional<std::string> OVNHTTPCacheDiskLayer::unchangedBodyFile(const std::string& key, const Record& record) {
  std::vector<Database::Row> rows;
  if (!database_->run(kSelectBody, {std::string_view(key)}, &rows) || rows.empty()) return std::nullopt;
  const std::string* file = Database::bytes(rows.front()[0]);
  const std::string* checksum = Database::bytes(rows.front()[2]);
  const auto length = Database::integer(rows.front()[1]);
  if (!file || !checksum || !length || *checksum != record.sha256 ||
      static_cast<std::uint64_t>(*length) != record.bodyLength) {
    return std::nullopt;
  }
  return *file;
}

std::optional<OVNHTTPCacheDiskLayer::Footprint> OVNHTTPCacheDiskLayer::footprintOf(const std::string& key) {
  std::vector<Database::Row> rows;
  if (!database_->run(kSelectFootprint, {std::string_view(key)}, &rows) || rows.empty()) return std::nullopt;
  return footprintFromRow(rows.front());
}

OVNHTTPCacheDiskLayer::Footprint OVNHTTPCacheDiskLayer::footprintFromRow(const Database::Row& row) {
  const std::string* key = Database::bytes(row[0]);
  const std::string* bodyFile = Database::bytes(row[1]);
  return {key ? *key : std::string(), bodyFile ? *bodyFile : std::string(),
          static_cast<std::uint64_t>(Database::integer(row[2]).value_or(0))};
}

// Removing

void OVNHTTPCacheDiskLayer::remove(const std::string& key) {
  std::lock_guard guard(mutex_);
  if (database_) removeLocked(key);
}

void OVNHTTPCacheDiskLayer::removeLocked(const std::string& key) {
  std::optional<Footprint> footprint = footprintOf(key);
  if (!footprint) return;
  if (!database_->run(kDeleteEntry, {std::string_view(key)})) return databaseFailed("remove");
  forget(*footprint);
}

void OVNHTTPCacheDiskLayer::removeAll() {
  std::lock_guard guard(mutex_);
  if (!database_) return;
  if (!database_->run(kDeleteAll, {})) return databaseFailed("remove");
  bodies_.removeAll();
  usage_ = 0;
}

void OVNHTTPCacheDiskLayer::removeStoredSince(OVNDate date) {
  std::lock_guard guard(mutex_);
  if (!database_) return;
  double since = date.timeIntervalSinceReferenceDate();
  std::vector<Database::Row> rows;
  bool removed = database_->executeScript("BEGIN IMMEDIATE") && database_->run(kSelectStoredSince, {since}, &rows) &&
                 database_->run(kDeleteStoredSince, {since}) && database_->executeScript("COMMIT");
  if (!removed) {
    database_->rollback();
    return databaseFailed("remove");
  }
  for (const auto& row : rows) forget(footprintFromRow(row));
}

void OVNHTTPCacheDiskLayer::evictLocked() {
  while (database_ && usage_ > capacity_) {
    std::vector<Database::Row> rows;
    if (!database_->run(kSelectLeastRecentlyUsed, {}, &rows)) return databaseFailed("evict");
    if (rows.empty()) {
      usage_ = 0;  // the running total drifted (another cache object on the directory)
      return;
    }
    Footprint footprint = footprintFromRow(rows.front());
    if (!database_->run(kDeleteEntry, {std::string_view(footprint.key)})) return databaseFailed("evict");
    forget(footprint);
  }
}

void OVNHTTPCacheDiskLayer::forget(const Footprint& footprint) {
  bodies_.remove(footprint.bodyFile);
  usage_ -= std::min(usage_, footprint.size);
}

// Capacity

std::uint64_t OVNHTTPCacheDiskLayer::capacity() const {
  std::lock_guard guard(mutex_);
  return capacity_;
}

void OVNHTTPCacheDiskLayer::setCapacity(std::uint64_t bytes) {
  std::lock_guard guard(mutex_);
  capacity_ = bytes;
  evictLocked();
}

std::uint64_t OVNHTTPCacheDiskLayer::usage() const {
  std::lock_guard guard(mutex_);
  return usage_;
}

// Failures

void OVNHTTPCacheDiskLayer::databaseFailed(const char* action) {
  Database::Failure failure = database_->lastFailure();
  std::string detail =
      std::string("cannot ") + action + " in the cache index " + indexPath() + ": " + database_->lastMessage();
  if (failure == Database::Failure::full || failure == Database::Failure::io) {
    logOnce(Problem::write, detail);
  } else if (failure != Database::Failure::corrupt) {
    logOnce(Problem::index, detail);
  } else {
    // Damaged while in use: start again from an empty directory, or give the layer up.
    logOnce(Problem::index, detail + "; it is discarded with the bodies and made anew");
    discardDirectory();
    openIndex();
  }
}

void OVNHTTPCacheDiskLayer::logOnce(Problem problem, const std::string& text) {
  auto bit = static_cast<std::size_t>(problem);
  if (logged_.test(bit)) return;
  logged_.set(bit);
  OVNConsoleLog::writeFormat("OVNHTTPCache: %@", text);
}

}  // namespace ovn::detail
