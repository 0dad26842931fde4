// Process start-up and the TCP accept loop.
#pragma once

namespace pemo {

inline constexpr const char* kPidFile = "/var/run/pemo_agent.pid";

// Writes "<pid>\n" to the pid file. 0, or -1 when it cannot be opened.
[[nodiscard]] int write_pid_file();

// Runs the agent: start-up in order, then the accept loop. Returns only on a
// start-up failure, with the process exit status (1 or 255).
[[nodiscard]] int run_agent(int argc, char** argv);

}  // namespace pemo
