#include "support/agent_process.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

#include "wire/frame.h"
#include "platform/fd.h"
#include "support/sandbox.h"

namespace pemo::test {

AgentProcess::~AgentProcess() { stop(); }

bool AgentProcess::start(const std::vector<std::string>& arguments, const std::string& log_path) {
  std::vector<std::string> words{PEMO_AGENT_PATH};
  words.insert(words.end(), arguments.begin(), arguments.end());
  // Outside the simulated gateway no platform tool may run: the agent finds none.
  pid_ = spawn_logged(words, log_path, "/nonexistent");
  return pid_ > 0;
}

bool AgentProcess::wait_ready(std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(kServicePort);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  while (std::chrono::steady_clock::now() < deadline) {
    if (pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == pid_) {
      pid_ = -1;
      return false;
    }
    UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

int AgentProcess::wait_exit(std::chrono::milliseconds limit) {
  auto deadline = std::chrono::steady_clock::now() + limit;
  while (pid_ > 0 && std::chrono::steady_clock::now() < deadline) {
    int status = 0;
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return -1;
}

void AgentProcess::stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

}  // namespace pemo::test
