#include "support/probe.h"

#include <sqlite3.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "platform/shell.h"
#include "support/sandbox.h"

namespace pemo::test {

void seed_probe_db(const std::string& path, const std::string& extra) {
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) unlink((path + suffix).c_str());
  // Run for real even while a test records the agent's commands.
  ShellRequest seed{PEMO_SOURCE_DIR "/sim/seed-db.sh " + shell_quote(path), false, 0,
                    std::chrono::seconds(30)};
  if (posix_runner().execute(seed).status != 0)
    throw std::runtime_error("cannot seed " + path);
  if (!extra.empty()) sql(path, extra);
}

std::vector<std::vector<std::string>> sql(const std::string& path, const std::string& statement) {
  sqlite3* raw = nullptr;
  int rc = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr);
  std::unique_ptr<sqlite3, int (*)(sqlite3*)> db(raw, sqlite3_close);
  if (rc != SQLITE_OK) throw std::runtime_error("cannot open " + path);
  sqlite3_busy_timeout(db.get(), 5000);
  std::vector<std::vector<std::string>> rows;
  auto collect = [](void* out, int columns, char** values, char**) {
    auto& table = *static_cast<std::vector<std::vector<std::string>>*>(out);
    table.emplace_back();
    for (int k = 0; k < columns; ++k) table.back().emplace_back(values[k] != nullptr ? values[k] : "NULL");
    return 0;
  };
  char* error = nullptr;
  if (sqlite3_exec(db.get(), statement.c_str(), collect, &rows, &error) != SQLITE_OK) {
    std::string message = error != nullptr ? error : "?";
    sqlite3_free(error);
    throw std::runtime_error("sql failed: " + message);
  }
  return rows;
}

}  // namespace pemo::test
