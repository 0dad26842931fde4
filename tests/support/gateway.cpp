#include "support/gateway.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "platform/shell.h"
#include "support/sandbox.h"

namespace pemo::test {
namespace {

using namespace std::chrono_literals;

// A process's children, as /proc lists them.
std::vector<pid_t> children(pid_t parent) {
  const std::string id = std::to_string(parent);
  std::ifstream list("/proc/" + id + "/task/" + id + "/children");
  std::vector<pid_t> found;
  for (pid_t child; list >> child;) found.push_back(child);
  return found;
}

}  // namespace

SimGateway::~SimGateway() { stop(); }

bool SimGateway::start(const std::vector<std::string>& agent_arguments, bool fast_sleeps, std::string setup) {
  if (const char* strict = std::getenv("PEMO_GATEWAY_STRICT"); strict != nullptr && std::string(strict) == "1")
    setup += (setup.empty() ? "" : " && ") + std::string(kStrictSetup);
  std::string command = "PEMO_SIM_SETUP=" + shell_quote(setup) + " exec /bin/sh " + shell_quote(PEMO_SOURCE_DIR "/sim/gateway.sh") + " --root " +
                        shell_quote(PEMO_SIM_ROOT) + " --mnt " + shell_quote(PEMO_SIM_MNT);
  if (fast_sleeps) command += " --fast-sleeps";
  command += " --";
  for (const std::string& word : agent_arguments) command += " " + shell_quote(word);
  command = "exec >>/tmp/gateway.log 2>&1; " + command;
  launcher_pid_ = fork();
  if (launcher_pid_ == 0) {
    // The launcher (unshare, once exec'd) and with it the whole gateway end with
    // this process, even when a time-out kills it before its destructors run.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  if (launcher_pid_ < 0) return false;
  const auto deadline = std::chrono::steady_clock::now() + 10s;
  while (std::chrono::steady_clock::now() < deadline) {
    if (waitpid(launcher_pid_, nullptr, WNOHANG) != 0) {
      launcher_pid_ = -1;
      return false;
    }
    std::string error;
    if (client::Session::connect("127.0.0.1", kServicePort, 1s, error).valid()) {
      // The agent answers, so the launcher has become unshare and its one child is
      // the gateway's first process.
      const std::vector<pid_t> init = children(launcher_pid_);
      init_pid_ = init.empty() ? -1 : init.front();
      return init_pid_ > 0;
    }
    std::this_thread::sleep_for(10ms);
  }
  stop();
  return false;
}

void SimGateway::stop() {
  if (launcher_pid_ > 0) {
    kill(launcher_pid_, SIGKILL);  // the launcher takes the whole gateway with it
    waitpid(launcher_pid_, nullptr, 0);
    // Its first process dies asynchronously; wait until its file system is gone.
    eventually([this] { return init_pid_ <= 0 || !file_exists(path("/")); }, 5s);
    // The agent goes after it; the port is free once its listener is closed.
    std::string error;
    eventually([&] { return !client::Session::connect("127.0.0.1", kServicePort, 1s, error).valid(); }, 5s);
  }
  launcher_pid_ = init_pid_ = -1;
}

std::string SimGateway::path(const std::string& inside) const {
  return "/proc/" + std::to_string(init_pid_) + "/root" + inside;
}

std::string SimGateway::read(const std::string& inside) const { return read_file(path(inside)); }

void SimGateway::write(const std::string& inside, const std::string& content) const {
  write_file(path(inside), content);
}

std::vector<std::string> SimGateway::calls() const {
  std::vector<std::string> lines;
  std::istringstream log(read("/sim/calls.log"));
  for (std::string line; std::getline(log, line);) lines.push_back(line);
  return lines;
}

bool SimGateway::wait_quiet(std::chrono::milliseconds still) const {
  std::size_t lines = calls().size();
  auto since = std::chrono::steady_clock::now();
  return eventually(
      [&] {
        const std::size_t now = calls().size();
        if (now != lines) since = std::chrono::steady_clock::now();
        lines = now;
        return std::chrono::steady_clock::now() - since >= still;
      },
      std::chrono::minutes(1));
}

std::string SimGateway::run(const std::string& command, std::chrono::seconds bound) const {
  return posix_runner()
      .execute({"nsenter -t " + std::to_string(init_pid_) + " -m -p -r -w /bin/sh -c " +
                    shell_quote("export PATH=/usr/sbin:/usr/bin:/sbin:/bin; " + command),
                true, 4 << 20, bound})
      .output;
}

pid_t SimGateway::agent_pid() const {
  if (init_pid_ <= 0) return -1;
  for (const pid_t child : children(init_pid_))
    if (read_file("/proc/" + std::to_string(child) + "/comm") == "pemo-agent\n") return child;
  return -1;
}

std::string SimGateway::uci_get(const std::string& path) const {
  std::string value = run("uci get " + shell_quote(path));
  if (!value.empty() && value.back() == '\n') value.pop_back();
  return value;
}

std::vector<std::string> SimGateway::sql(const std::string& statement) const {
  std::vector<std::string> rows;
  std::istringstream output(run("sqlite3 -batch -cmd '.timeout 5000' /tmp/lanwatch.db " + shell_quote(statement)));
  for (std::string line; std::getline(output, line);) rows.push_back(line);
  return rows;
}

client::Session SimGateway::connect(const char* from, std::chrono::seconds bound) const {
  std::string error;
  return client::Session::connect("127.0.0.1", kServicePort, bound, error, from);
}

client::Reply exchange(client::Session& session, std::uint8_t type, const std::string& text,
                       const std::string& password) {
  client::Reply reply;
  std::string error;
  if (!session.valid() || !session.exchange(type, text, password, reply, error)) reply.header.length = kNoAnswer;
  return reply;
}

client::Reply SimGateway::exchange(std::uint8_t type, const std::string& text,
                                   const std::string& password) const {
  client::Session session = connect();
  return test::exchange(session, type, text, password);
}

std::string SimGateway::get(const std::string& text) const {
  client::Reply reply = exchange(kTypeParamGet, text);
  return reply.status() > 0 ? reply.payload : "status " + std::to_string(reply.status());
}

std::string SimGateway::set(const std::string& text) const {
  client::Reply reply = exchange(kTypeParamSet, text);
  return reply.status() > 0 ? reply.payload : "status " + std::to_string(reply.status());
}

}  // namespace pemo::test
