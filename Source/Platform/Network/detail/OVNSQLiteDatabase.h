#pragma once
// One SQLite connection with its prepared statements kept for reuse. Statements are run
// with their parameters in one call and give back their rows as plain values, so callers
// never see SQLite's types. Not thread-safe: the owner guards it with its own mutex.

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace ovn::detail {

class OVNSQLiteDatabase {
 public:
  //! Bytes to bind as a BLOB (a plain string_view binds as TEXT).
  struct Blob {
    std::string_view bytes;
  };
  using Parameter = std::variant<std::monostate, std::int64_t, double, std::string_view, Blob>;
  //! A column's value: NULL, an integer, a real, or the bytes of a TEXT or BLOB.
  using Cell = std::variant<std::monostate, std::int64_t, double, std::string>;
  using Row = std::vector<Cell>;

  //! What went wrong, as far as the caller has to tell failures apart.
  enum class Failure { none, corrupt, full, io, other };

  //! Opens (creating when missing) the database file; null, with `message` set, on failure.
  static std::unique_ptr<OVNSQLiteDatabase> open(const std::string& path, std::string* message);
  ~OVNSQLiteDatabase();
  OVNSQLiteDatabase(const OVNSQLiteDatabase&) = delete;
  OVNSQLiteDatabase& operator=(const OVNSQLiteDatabase&) = delete;

  //! Runs one or more statements without parameters or results (schema, pragmas).
  bool executeScript(const char* sql);
  //! Ends the open transaction, keeping the failure that made the caller give it up.
  void rollback();
  //! Runs one statement, prepared once and kept; the rows go to `rows` when given.
  bool run(const char* sql, std::initializer_list<Parameter> parameters, std::vector<Row>* rows = nullptr);
  //! The first column of the first row of a query without parameters.
  std::optional<Cell> scalar(const char* sql);

  Failure lastFailure() const { return lastFailure_; }
  const std::string& lastMessage() const { return lastMessage_; }

  static std::optional<std::int64_t> integer(const Cell& cell);
  static std::optional<double> real(const Cell& cell);
  static const std::string* bytes(const Cell& cell);

 private:
  explicit OVNSQLiteDatabase(sqlite3* connection) : connection_(connection) {}
  sqlite3_stmt* prepared(const char* sql);
  bool bind(sqlite3_stmt* statement, std::initializer_list<Parameter> parameters);
  static Row readRow(sqlite3_stmt* statement);
  bool fail(int code);

  sqlite3* connection_;
  std::unordered_map<std::string, sqlite3_stmt*> statements_;
  Failure lastFailure_ = Failure::none;
  std::string lastMessage_;
};

}  // namespace ovn::detail
