// The network-probe daemon's database: one process-wide connection, opened once
// it exists, shared by the discovery thread and every connection thread.
#pragma once

#include <sqlite3.h>

#include <string>
#include <string_view>

namespace pemo {

inline constexpr const char* kProbeDbPath = "/tmp/lanwatch.db";

// A query's complete result array (header row first), released with it.
class QueryTable {
 public:
  QueryTable() = default;
  QueryTable(QueryTable&& other) noexcept;
  QueryTable& operator=(QueryTable&& other) noexcept;
  QueryTable(const QueryTable&) = delete;
  QueryTable& operator=(const QueryTable&) = delete;
  ~QueryTable();

  bool empty() const { return result_ == nullptr; }
  int rows() const { return rows_; }  // data rows, the header row not counted
  // Cell of data row `row` (1-based, as the result array counts) at `column`;
  // nullptr for a null cell and for anything outside the result.
  const char* cell(int row, int column) const;

 private:
  friend int probe_db_query(const std::string& sql, QueryTable& out);
  char** result_ = nullptr;
  int rows_ = 0;
  int columns_ = 0;
};

// Opens the database (read-write, never created) with its busy time-out and
// lookaside buffer. 0, or -1 when it cannot be opened (the handle stays empty).
[[nodiscard]] int probe_db_open();
// True once an open has succeeded.
bool probe_db_ready();

// Runs a query; `out` receives its result (empty on failure). The SQLite result code.
[[nodiscard]] int probe_db_query(const std::string& sql, QueryTable& out);
// The rows of a query, for readers whose answer to a failed query is their answer
// to no rows: a failure reads as an empty table.
QueryTable probe_db_rows(const std::string& sql);
// Runs one statement. 0, or kUnserved after printing the statement and error.
[[nodiscard]] int probe_db_exec(const std::string& sql);

// `text` as an SQL string literal body: single quotes doubled, so it cannot end
// the literal; cut at an embedded NUL as SQLite's %q would.
std::string sql_quote(std::string_view text);

// A statement template with every "%s" replaced by the quoted MAC.
std::string sql_format(std::string_view statement, std::string_view mac);

// Runs a statement template whose every "%s" is replaced by the quoted MAC, and
// copies the first row's first cell into `out` when there is one and it is not
// null (at most 127 characters). True when a value was copied; callers whose
// `out` holds the answer for no value ignore it.
bool probe_db_lookup(std::string_view statement, std::string_view mac, std::string& out);
// The same for a two-cell statement: both cells, a null one as empty. False
// when no row came back.
bool probe_db_lookup2(std::string_view statement, std::string_view mac, std::string& first, std::string& second);

// 1 when Device has a row whose ALMac is `mac`, else 0.
int isL2AlMac(std::string_view mac);

}  // namespace pemo
