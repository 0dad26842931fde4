// Each test process enters private user, mount and network namespaces first: fresh
// /tmp and /run, an overlay on /etc and a private loopback, so tests may use the
// agent's real paths and port in parallel.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "platform/shell.h"

namespace pemo::test {

bool enter_sandbox(std::string& why);  // from main, before any thread starts

bool in_ci();  // CI=true

// A test that cannot get what it needs says why: skipped on a developer's
// machine, failed in CI, so that a green CI run never hides an untested part.
#define PEMO_REQUIRE(condition, why)              \
  do {                                            \
    if (!(condition)) {                           \
      if (::pemo::test::in_ci()) GTEST_FAIL() << why; \
      GTEST_SKIP() << why;                        \
    }                                             \
  } while (0)

// Polls `condition` until it holds or `limit` has passed: whether it held.
bool eventually(const std::function<bool()>& condition,
                std::chrono::milliseconds limit = std::chrono::seconds(10));

void write_file(const std::string& path, std::string_view content);
std::string read_file(const std::string& path);
using ::pemo::file_exists;
// A numeric field of /proc/PID/status ("RssAnon", "Threads"), or -1.
long proc_status_field(pid_t pid, const std::string& field);
// A process's one-page inaccessible mappings: the guard page of each thread
// stack it mapped (0 for the calling process itself).
long guard_pages(pid_t pid = 0);

void seed_system_package(std::string_view password = "5927");  // password and host name
void seed_gateway_config();  // the simulated gateway's seeded /etc/config

// Records every command instead of running it; answers with canned results.
class RecordingRunner final : public CommandRunner {
 public:
  ShellResult execute(const ShellRequest& request) override;
  std::vector<std::string> commands(std::size_t from = 0) const;  // from the `from`th on
  bool ran(std::string_view command) const;
  // The bound of the last command containing `needle`, 0 when none ran.
  std::chrono::milliseconds timeout_of(std::string_view needle) const;
  // Commands containing `needle` run `act` and answer `result`; the latest match wins.
  void answer(std::string needle, ShellResult result, std::function<void()> act = {});
  // Commands that start with `prefix` really run, with `program` in its place.
  void run_for_real(std::string prefix, std::string program);

 private:
  struct Answer {
    std::string needle;
    ShellResult result;
    std::function<void()> act;
  };
  mutable std::mutex mutex_;
  std::vector<ShellRequest> requests_;
  std::vector<Answer> answers_;
  std::vector<std::pair<std::string, std::string>> real_;
};

}  // namespace pemo::test
