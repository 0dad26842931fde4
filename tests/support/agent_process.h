// The real agent binary, started as a child process inside the test's sandbox.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace pemo::test {

class AgentProcess {
 public:
  AgentProcess() = default;
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;
  ~AgentProcess();

  // Starts the agent with `arguments`; its output goes to `log_path`.
  bool start(const std::vector<std::string>& arguments = {},
             const std::string& log_path = "/tmp/agent.log");
  // Waits until port 263 accepts connections on loopback.
  bool wait_ready(std::chrono::milliseconds limit = std::chrono::seconds(10));
  // Waits for the process to end by itself; its exit status, or -1 on time-out.
  int wait_exit(std::chrono::milliseconds limit = std::chrono::seconds(10));
  void stop();
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
};

}  // namespace pemo::test
