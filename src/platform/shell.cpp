#include "platform/shell.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "platform/fd.h"
#include "platform/uci.h"
#include "platform/lifetime.h"

extern char** environ;

namespace pemo {
namespace {

using Clock = std::chrono::steady_clock;

// The shell reports the command's status on fd 3, which the command itself does not
// inherit: background jobs ("cmd &") then cannot keep the status channel open, and
// the status survives even when the SIGCHLD reaper collects the shell first.
std::string wrap_command(std::string_view command) {
  std::string script = "{\n";
  script.append(command);
  script.append("\n} 3>&-\nprintf '%d\\n' \"$?\" >&3\n");
  return script;
}

// Pipe ends above the standard descriptors, close-on-exec in the parent.
bool make_pipe(UniqueFd& read_end, UniqueFd& write_end) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return false;
  UniqueFd r(fds[0]), w(fds[1]);
  read_end = UniqueFd(fcntl(r.get(), F_DUPFD_CLOEXEC, 10));
  write_end = UniqueFd(fcntl(w.get(), F_DUPFD_CLOEXEC, 10));
  return read_end.valid() && write_end.valid();
}

class PosixRunner final : public CommandRunner {
 public:
  ShellResult execute(const ShellRequest& request) override {
    ShellResult result;
    if (request.command.empty()) return result;

    UniqueFd status_read, status_write, out_read, out_write;
    if (!make_pipe(status_read, status_write)) return result;
    if (request.capture && !make_pipe(out_read, out_write)) return result;

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, status_write.get(), 3);
    if (request.capture) posix_spawn_file_actions_adddup2(&actions, out_write.get(), 1);

    posix_spawnattr_t attr;
    posix_spawnattr_init(&attr);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGCHLD);
    posix_spawnattr_setsigmask(&attr, &none);
    posix_spawnattr_setsigdefault(&attr, &defaults);
    posix_spawnattr_setpgroup(&attr, 0);  // own group: a time-out kills the whole pipeline
    posix_spawnattr_setflags(&attr, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                        POSIX_SPAWN_SETSIGDEF);

    std::string script = wrap_command(request.command);
    std::array<char*, 4> argv{const_cast<char*>("sh"), const_cast<char*>("-c"), script.data(),
                              nullptr};
    pid_t pid = -1;
    int rc = posix_spawn(&pid, "/bin/sh", &actions, &attr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attr);
    status_write.reset();
    out_write.reset();
    if (rc != 0) return result;

    std::string status_text;
    bool status_done = false;
    const auto deadline = Clock::now() + request.timeout;
    while (!status_done) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
      if (left.count() <= 0) {
        result.timed_out = true;
        kill(-pid, SIGKILL);
        break;
      }
      std::array<pollfd, 2> fds{pollfd{status_read.get(), POLLIN, 0},
                                pollfd{out_read.get(), POLLIN, 0}};
      nfds_t count = out_read.valid() ? 2 : 1;
      if (poll(fds.data(), count, static_cast<int>(left.count())) < 0) {
        if (errno == EINTR) continue;
        kill(-pid, SIGKILL);
        break;
      }
      if (count == 2 && fds[1].revents != 0 && !read_some(out_read, result, request.output_limit))
        out_read.reset();
      if (fds[0].revents != 0) {
        std::array<char, 32> chunk;
        ssize_t n = read(status_read.get(), chunk.data(), chunk.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // the shell ended without reporting (exit, syntax error)
        status_text.append(chunk.data(), static_cast<size_t>(n));
        status_done = status_text.find('\n') != std::string::npos;
      }
    }
    // Everything the command printed is in the pipe before its status is written.
    if (out_read.valid() && !result.timed_out) {
      fcntl(out_read.get(), F_SETFL, O_NONBLOCK);
      while (read_some(out_read, result, request.output_limit)) {
      }
    }

    int wait_status = 0;
    pid_t waited;
    do {
      waited = waitpid(pid, &wait_status, 0);
    } while (waited < 0 && errno == EINTR);
    if (status_done) {
      result.status = std::atoi(status_text.c_str());
    } else if (!result.timed_out && waited == pid) {
      result.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status)
                                             : 128 + WTERMSIG(wait_status);
    }
    return result;
  }

 private:
  // Reads what is available; false at end of file or error. Output beyond the
  // limit is read and dropped so the command never blocks on a full pipe.
  static bool read_some(const UniqueFd& fd, ShellResult& result, std::size_t limit) {
    std::array<char, 4096> chunk;
    ssize_t n = read(fd.get(), chunk.data(), chunk.size());
    if (n < 0 && errno == EINTR) return true;
    if (n <= 0) return false;
    std::size_t room = limit > result.output.size() ? limit - result.output.size() : 0;
    result.output.append(chunk.data(), std::min(room, static_cast<std::size_t>(n)));
    return true;
  }
};

std::atomic<CommandRunner*> current_runner{nullptr};

CommandRunner& runner() {
  CommandRunner* r = current_runner.load(std::memory_order_acquire);
  return r != nullptr ? *r : posix_runner();
}

}  // namespace

CommandRunner& posix_runner() { return process_lifetime<PosixRunner>(); }

ScopedRunner::ScopedRunner(CommandRunner& r)
    : previous_(current_runner.exchange(&r, std::memory_order_acq_rel)) {}

ScopedRunner::~ScopedRunner() { current_runner.store(previous_, std::memory_order_release); }

// A platform command may change any package: the caller's next read of one is fresh.
int shell_run(std::string_view command, std::chrono::milliseconds timeout) {
  ShellRequest request{std::string(command), false, 0, timeout};
  const int status = runner().execute(request).status;
  uci::forget_reads();
  return status;
}

void shell_fire(std::string_view command, std::chrono::milliseconds timeout) {
  static_cast<void>(shell_run(command, timeout));  // the caller reads the outcome elsewhere, or needs none
}

ShellResult shell_capture(std::string_view command, std::size_t output_limit,
                          std::chrono::milliseconds timeout) {
  ShellRequest request{std::string(command), true, output_limit, timeout};
  ShellResult result = runner().execute(request);
  uci::forget_reads();
  return result;
}

// UCI files quote values the way the shell does, so one routine serves both; a
// command line cannot hold a NUL byte, so the text ends there.
std::string shell_quote(std::string_view text) {
  return uci::quote_value(text.substr(0, text.find('\0')));
}

}  // namespace pemo
