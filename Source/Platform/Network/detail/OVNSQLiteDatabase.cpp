#include "Platform/Network/detail/OVNSQLiteDatabase.h"

#include <sqlite3.h>

#include <type_traits>

namespace ovn::detail {

namespace {

// How long a statement waits for another connection's lock before giving up.
constexpr int kBusyTimeoutMilliseconds = 2000;

OVNSQLiteDatabase::Failure failureForCode(int code) {
  switch (code & 0xff) {  // the primary code, without the extended bits
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB: return OVNSQLiteDatabase::Failure::corrupt;
    case SQLITE_FULL: return OVNSQLiteDatabase::Failure::full;
    case SQLITE_IOERR: return OVNSQLiteDatabase::Failure::io;
    default: return OVNSQLiteDatabase::Failure::other;
  }
}

}  // namespace

std::unique_ptr<OVNSQLiteDatabase> OVNSQLiteDatabase::open(const std::string& path, std::string* message) {
  sqlite3* connection = nullptr;
  // The owner serializes every use of the connection, so SQLite's own mutexes are not needed.
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  int code = sqlite3_open_v2(path.c_str(), &connection, flags, nullptr);
  if (code != SQLITE_OK) {
    if (message) *message = connection ? sqlite3_errmsg(connection) : sqlite3_errstr(code);
    sqlite3_close(connection);
    return nullptr;
  }
  sqlite3_busy_timeout(connection, kBusyTimeoutMilliseconds);
  return std::unique_ptr<OVNSQLiteDatabase>(new OVNSQLiteDatabase(connection));
}

OVNSQLiteDatabase::~OVNSQLiteDatabase() {
  for (auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  sqlite3_close(connection_);
}

bool OVNSQLiteDatabase::executeScript(const char* sql) {
  int code = sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr);
  return code == SQLITE_OK || fail(code);
}

void OVNSQLiteDatabase::rollback() {
  if (!sqlite3_get_autocommit(connection_)) sqlite3_exec(connection_, "ROLLBACK", nullptr, nullptr, nullptr);
}

bool OVNSQLiteDatabase::run(const char* sql, std::initializer_list<Parameter> parameters, std::vector<Row>* rows) {
  sqlite3_stmt* statement = prepared(sql);
  if (!statement || !bind(statement, parameters)) return false;
  int code;
  while ((code = sqlite3_step(statement)) == SQLITE_ROW) {
    if (rows) rows->push_back(readRow(statement));
  }
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  return code == SQLITE_DONE || fail(code);
}

std::optional<OVNSQLiteDatabase::Cell> OVNSQLiteDatabase::scalar(const char* sql) {
  std::vector<Row> rows;
  if (!run(sql, {}, &rows) || rows.empty() || rows.front().empty()) return std::nullopt;
  return rows.front().front();
}

std::optional<std::int64_t> OVNSQLiteDatabase::integer(const Cell& cell) {
  if (auto* value = std::get_if<std::int64_t>(&cell)) return *value;
  return std::nullopt;
}

std::optional<double> OVNSQLiteDatabase::real(const Cell& cell) {
  if (auto* value = std::get_if<double>(&cell)) return *value;
  if (auto* value = std::get_if<std::int64_t>(&cell)) return static_cast<double>(*value);
  return std::nullopt;
}

const std::string* OVNSQLiteDatabase::bytes(const Cell& cell) { return std::get_if<std::string>(&cell); }

sqlite3_stmt* OVNSQLiteDatabase::prepared(const char* sql) {
  auto found = statements_.find(sql);
  if (found != statements_.end()) return found->second;
  sqlite3_stmt* statement = nullptr;
  int code = sqlite3_prepare_v3(connection_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (code != SQLITE_OK) {
    fail(code);
    return nullptr;
  }
  statements_.emplace(sql, statement);
  return statement;
}

bool OVNSQLiteDatabase::bind(sqlite3_stmt* statement, std::initializer_list<Parameter> parameters) {
  int index = 1;
  for (const Parameter& parameter : parameters) {
    int code = std::visit(
        [&](const auto& value) {
          using T = std::decay_t<decltype(value)>;
          if constexpr (std::is_same_v<T, std::monostate>) {
            return sqlite3_bind_null(statement, index);
          } else if constexpr (std::is_same_v<T, std::int64_t>) {
            return sqlite3_bind_int64(statement, index, value);
          } else if constexpr (std::is_same_v<T, double>) {
            return sqlite3_bind_double(statement, index, value);
          } else if constexpr (std::is_same_v<T, std::string_view>) {
            return sqlite3_bind_text64(statement, index, value.data(), value.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
          } else {
            return sqlite3_bind_blob64(statement, index, value.bytes.data(), value.bytes.size(), SQLITE_TRANSIENT);
          }
        },
        parameter);
    if (code != SQLITE_OK) {
      sqlite3_clear_bindings(statement);
      return fail(code);
    }
    ++index;
  }
  return true;
}

OVNSQLiteDatabase::Row OVNSQLiteDatabase::readRow(sqlite3_stmt* statement) {
  Row row;
  int count = sqlite3_column_count(statement);
  row.reserve(static_cast<std::size_t>(count));
  for (int column = 0; column < count; ++column) {
    switch (sqlite3_column_type(statement, column)) {
      case SQLITE_INTEGER: row.emplace_back(static_cast<std::int64_t>(sqlite3_column_int64(statement, column))); break;
      case SQLITE_FLOAT: row.emplace_back(sqlite3_column_double(statement, column)); break;
      case SQLITE_NULL: row.emplace_back(std::monostate{}); break;
      default: {
        auto* data = static_cast<const char*>(sqlite3_column_blob(statement, column));
        auto length = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        row.emplace_back(std::string(data ? data : "", data ? length : 0));
      }
    }
  }
  return row;
}

bool OVNSQLiteDatabase::fail(int code) {
  lastFailure_ = failureForCode(code);
  lastMessage_ = sqlite3_errmsg(connection_);
  return false;
}

}  // namespace ovn::detail
