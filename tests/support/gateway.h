// A fresh simulated gateway for one end-to-end test: the real agent binary in
// private mount and PID namespaces, sharing the test's private network, so the
// test talks to it on 127.0.0.1 port 263 as the phone application would.
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

// The length of a reply that never came.
inline constexpr int kNoAnswer = -999;
// One exchange on an open session, keyed with `password`.
client::Reply exchange(client::Session& session, std::uint8_t type, const std::string& text,
                       const std::string& password = "5927");

class SimGateway {
 public:
  SimGateway() = default;
  SimGateway(const SimGateway&) = delete;
  SimGateway& operator=(const SimGateway&) = delete;
  ~SimGateway();

  // Starts the gateway and waits until the agent accepts connections; with
  // `fast_sleeps` its sleeps under a second (the accept pause) last a hundredth;
  // `setup` is a shell command run inside before the agent starts. With
  // PEMO_GATEWAY_STRICT=1 in the environment every gateway starts strict.
  bool start(const std::vector<std::string>& agent_arguments = {}, bool fast_sleeps = false,
             std::string setup = {});
  // Stops it; nothing of it remains.
  void stop();

  // A path inside the gateway, as the test can reach it while the gateway runs.
  std::string path(const std::string& inside) const;
  std::string read(const std::string& inside) const;
  void write(const std::string& inside, const std::string& content) const;
  // Sets a scenario knob (/sim/knobs/NAME).
  void knob(const std::string& name, const std::string& value) const;
  // The platform calls made so far, one line each.
  std::vector<std::string> calls() const;
  // Waits until the call log has stood still for `still` (workers that requests
  // started have finished), at most a minute: whether it did.
  bool wait_quiet(std::chrono::milliseconds still) const;
  bool called(const std::string& line) const;
  // Runs a shell command inside the gateway; its output (at most 4 MiB).
  std::string run(const std::string& command, std::chrono::seconds bound = std::chrono::seconds(30)) const;

  // The agent's process id as the host sees it, or -1.
  pid_t agent_pid() const;
  // A UCI value as the gateway's own uci tool reads it, without its line end.
  std::string uci_get(const std::string& path) const;
  // Runs SQL on the gateway's probe database; the rows, cells separated by '|'.
  std::vector<std::string> sql(const std::string& statement) const;

  // A connection from `from`, one of the loopback addresses (the agent bounds
  // connections per address); invalid when it cannot be made. A receive waits at
  // most `bound`.
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
