#include "platform/probe_db.h"
#include "platform/lifetime.h"
#include "platform/probe_db_seam.h"
#include "wire/status.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <mutex>
#include <utility>

namespace pemo {
namespace {

constexpr std::size_t kLookasideSlot = 1024;
constexpr std::size_t kLookasideSlots = 400;

// SQLite's threading mode is a build choice of the platform, and the open flags
// do not ask for one; this lock makes sharing the one connection safe under any
// mode and keeps each statement's error text with the call that caused it.
struct ProbeDb {
  std::mutex mutex;
  std::atomic<sqlite3*> handle{nullptr};
  alignas(8) std::array<char, kLookasideSlot * kLookasideSlots> lookaside;
};

ProbeDb& probe_db() { return process_lifetime<ProbeDb>(); }

}  // namespace

QueryTable::QueryTable(QueryTable&& other) noexcept
    : result_(std::exchange(other.result_, nullptr)),
      rows_(std::exchange(other.rows_, 0)),
      columns_(std::exchange(other.columns_, 0)) {}

QueryTable& QueryTable::operator=(QueryTable&& other) noexcept {
  if (this != &other) {
    if (result_ != nullptr) sqlite3_free_table(result_);
    result_ = std::exchange(other.result_, nullptr);
    rows_ = std::exchange(other.rows_, 0);
    columns_ = std::exchange(other.columns_, 0);
  }
  return *this;
}

QueryTable::~QueryTable() {
  if (result_ != nullptr) sqlite3_free_table(result_);
}

const char* QueryTable::cell(int row, int column) const {
  if (result_ == nullptr || row < 1 || row > rows_ || column < 0 || column >= columns_)
    return nullptr;
  return result_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
                 static_cast<std::size_t>(column)];
}

int probe_db_open() {
  ProbeDb& db = probe_db();
  std::lock_guard lock(db.mutex);
  if (db.handle.load() != nullptr) return 0;
  sqlite3* handle = nullptr;
  if (sqlite3_open_v2(kProbeDbPath, &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_SHAREDCACHE,
                      nullptr) != SQLITE_OK) {
    std::fprintf(stderr, "Can't open database: %s\n", sqlite3_errmsg(handle));
    sqlite3_close(handle);
    return -1;
  }
  sqlite3_busy_timeout(handle, 2000);
  db.handle.store(handle);
  int rc = sqlite3_db_config(handle, SQLITE_DBCONFIG_LOOKASIDE, db.lookaside.data(), kLookasideSlot,
                             kLookasideSlots);
  if (rc != 0) {
    std::fprintf(stderr, "lookaside configuration filed: %d", rc);
    return -1;  // the handle stays set and usable
  }
  return 0;
}

QueryTable probe_db_rows(const std::string& sql) {
  QueryTable table;
  static_cast<void>(probe_db_query(sql, table));  // empty on failure, as wanted
  return table;
}

bool probe_db_ready() { return probe_db().handle.load() != nullptr; }

void probe_db_close() {
  ProbeDb& db = probe_db();
  std::lock_guard lock(db.mutex);
  sqlite3_close(db.handle.exchange(nullptr));
}

int probe_db_query(const std::string& sql, QueryTable& out) {
  out = QueryTable();
  ProbeDb& db = probe_db();
  std::lock_guard lock(db.mutex);
  sqlite3* handle = db.handle.load();
  if (handle == nullptr) return SQLITE_MISUSE;
  int rc = sqlite3_get_table(handle, sql.c_str(), &out.result_, &out.rows_, &out.columns_, nullptr);
  if (rc != SQLITE_OK && out.result_ != nullptr) {
    sqlite3_free_table(out.result_);
    out.result_ = nullptr;
  }
  if (out.result_ == nullptr) out.rows_ = out.columns_ = 0;
  return rc;
}

int probe_db_exec(const std::string& sql) {
  ProbeDb& db = probe_db();
  std::lock_guard lock(db.mutex);
  sqlite3* handle = db.handle.load();
  char* error = nullptr;
  if (handle != nullptr && sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, &error) == SQLITE_OK)
    return 0;
  std::fprintf(stderr, "\t> CMD: %s , Error: %s\n", sql.c_str(),
               error != nullptr ? error : "database not open");
  sqlite3_free(error);
  return kUnserved;
}

std::string sql_format(std::string_view statement, std::string_view mac) {
  const std::string quoted = sql_quote(mac);
  std::string sql;
  for (std::size_t k = 0; k < statement.size(); ++k) {
    if (statement[k] == '%' && k + 1 < statement.size() && statement[k + 1] == 's') {
      sql += quoted;
      ++k;
    } else {
      sql += statement[k];
    }
  }
  return sql;
}

std::string sql_quote(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::string quoted;
  for (char c : text) {
    quoted += c;
    if (c == '\'') quoted += '\'';
  }
  return quoted;
}

bool probe_db_lookup(std::string_view statement, std::string_view mac, std::string& out) {
  QueryTable table;
  if (probe_db_query(sql_format(statement, mac), table) != SQLITE_OK) return false;
  const char* value = table.cell(1, 0);
  if (value == nullptr) return false;
  out.assign(value, std::min<std::size_t>(std::char_traits<char>::length(value), 127));
  return true;
}

bool probe_db_lookup2(std::string_view statement, std::string_view mac, std::string& first, std::string& second) {
  QueryTable table;
  if (probe_db_query(sql_format(statement, mac), table) != SQLITE_OK || table.rows() < 1) return false;
  const char* a = table.cell(1, 0);
  const char* b = table.cell(1, 1);
  first = a != nullptr ? a : "";
  second = b != nullptr ? b : "";
  return true;
}

int isL2AlMac(std::string_view mac) {
  QueryTable table;
  if (probe_db_query(sql_format("SELECT ALMac FROM Device WHERE [ALMac]='%s';", mac), table) !=
      SQLITE_OK) {
    std::printf("%s : get table error\n", "isL2AlMac");
    return 0;
  }
  return table.rows() > 0 ? 1 : 0;
}

}  // namespace pemo
