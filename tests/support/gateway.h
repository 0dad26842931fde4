// A fresh simulated gateway for one end-to-end test: the real agent in private
// mount and PID namespaces, reached on 127.0.0.1 port 263 as the app reaches it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "pemo-cli/client.h"

namespace pemo::test {

// A sanitized agent runs several times slower: tests of volume send less there.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitizedBuild = true;
#else
inline constexpr bool kSanitizedBuild = false;
#endif

// The setup that lifts the agent's bounds on strangers.
inline constexpr const char* kStrictSetup =
    "printf \"config pemo-agent 'main'\\n\\toption strict '1'\\n\" >/etc/config/pemo-agent";

// One exchange on an open session; a reply that never came has length kNoAnswer.
inline constexpr int kNoAnswer = -999;
client::Reply exchange(client::Session& session, std::uint8_t type, const std::string& text,
                       const std::string& password = "5927");

class SimGateway {
 public:
  SimGateway() = default;
  SimGateway(const SimGateway&) = delete;
  SimGateway& operator=(const SimGateway&) = delete;
  ~SimGateway();

  // Starts it and waits until the agent accepts; `fast_sleeps` makes sleeps under a
  // second last a hundredth; `setup` runs inside first (PEMO_GATEWAY_STRICT=1 adds kStrictSetup).
  bool start(const std::vector<std::string>& agent_arguments = {}, bool fast_sleeps = false,
             std::string setup = {});
  void stop();

  // A path inside the gateway, as the test can reach it while the gateway runs.
  std::string path(const std::string& inside) const;
  std::string read(const std::string& inside) const;
  void write(const std::string& inside, const std::string& content) const;
  std::vector<std::string> calls() const;  // the platform calls so far
  // Whether the call log stood still for `still` (started workers done) within a minute.
  bool wait_quiet(std::chrono::milliseconds still) const;
  // A shell command run inside; its output (at most 4 MiB).
  std::string run(const std::string& command, std::chrono::seconds bound = std::chrono::seconds(30)) const;

  pid_t agent_pid() const;  // as the host sees it, or -1
  std::string uci_get(const std::string& path) const;  // as the gateway's uci tool reads it
  // SQL on the probe database: the rows, cells separated by '|'.
  std::vector<std::string> sql(const std::string& statement) const;

  // A connection from the loopback address `from` (the agent bounds connections per
  // address), invalid when refused; a receive waits at most `bound`.
  client::Session connect(const char* from = "127.0.0.1", std::chrono::seconds bound = std::chrono::seconds(10)) const;
  // One exchange on a new connection; get and set give the reply's text or "status N".
  client::Reply exchange(std::uint8_t type, const std::string& text,
                         const std::string& password = "5927") const;
  std::string get(const std::string& text) const;
  std::string set(const std::string& text) const;

 private:
  pid_t launcher_pid_ = -1;  // unshare, outside the gateway
  pid_t init_pid_ = -1;      // the gateway's first process
};

}  // namespace pemo::test
