// The one way platform commands are run. Every command the agent composes goes
// through the process-wide CommandRunner, so tests can put a recorder in its place.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace pemo {

struct ShellRequest {
  std::string command;             // handed to /bin/sh -c
  bool capture = false;            // popen-style: collect standard output
  std::size_t output_limit = 0;    // bytes of output kept when capturing
  std::chrono::milliseconds timeout{0};
};

struct ShellResult {
  int status = -1;          // the command's exit status; -1 when unknown or not run
  bool timed_out = false;   // killed because it outlived its timeout
  std::string output;       // captured standard output (capture only), cut at the limit
};

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;
  virtual ShellResult execute(const ShellRequest& request) = 0;
};

// Commands that run longer than this are killed with their whole process group,
// so a platform tool that never answers cannot hold a connection thread forever.
inline constexpr std::chrono::milliseconds kShellTimeout{60'000};
// Output kept by shell_capture unless the caller asks for another bound.
inline constexpr std::size_t kCaptureLimit = std::size_t{64} * 1024;

// system()-style: runs the command, output goes to the agent's own stdout.
// Result: the exit status, or -1 when it could not be run or timed out.
[[nodiscard]] int shell_run(std::string_view command, std::chrono::milliseconds timeout = kShellTimeout);

// A platform action whose exit status nobody reads: its outcome, where there is
// one, is read back from the files it leaves (the gateway's tools report so).
void shell_fire(std::string_view command, std::chrono::milliseconds timeout = kShellTimeout);

// popen()-style: runs the command and returns what it printed.
ShellResult shell_capture(std::string_view command, std::size_t output_limit = kCaptureLimit,
                          std::chrono::milliseconds timeout = kShellTimeout);

// True when a command ended by itself: not cut at its bound, not killed by a
// signal, and found and run by the shell (126 and 127 are the shell's "could not
// run it"). Output that a command which did not end by itself left behind is no answer.
inline bool ran_to_end(int status) { return status >= 0 && status < 126; }

// Quotes request-derived text as one shell word: 'text', with each ' written as '\''.
// Text after an embedded NUL is dropped, as a C string would end there.
std::string shell_quote(std::string_view text);

// The runner that spawns /bin/sh for real.
CommandRunner& posix_runner();

// Replaces the process-wide runner for its lifetime (tests record commands with it).
class ScopedRunner {
 public:
  explicit ScopedRunner(CommandRunner& runner);
  ~ScopedRunner();
  ScopedRunner(const ScopedRunner&) = delete;
  ScopedRunner& operator=(const ScopedRunner&) = delete;

 private:
  CommandRunner* previous_;
};

}  // namespace pemo
