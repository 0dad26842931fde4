// pemo-cli check: what of a gateway's platform works, seen from its LAN as the
// phone application sees it, with a hint naming the likely missing hook.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace pemo::cli {

struct CheckOptions {
  std::string host;
  std::uint16_t port = 0;
  std::string password;
  std::chrono::seconds timeout{10};        // connect and reply
  std::chrono::seconds outcome_wait{130};  // a WPS session's outcome
  bool write = false;                      // also the reversible changes
  bool json = false;                       // one document instead of lines
  std::string only;                        // one family, or every one
  std::string undo_file;                   // what a --write run must still restore
};

// Exit statuses of a check run.
inline constexpr int kCheckPassed = 0;
inline constexpr int kCheckFailed = 1;
inline constexpr int kCheckUnreachable = 2;
inline constexpr int kCheckUsage = 3;

// The default place of the undo file for a gateway: under $XDG_STATE_HOME, else
// ~/.local/state, so that a second run finds what an interrupted one left.
std::string default_undo_file(const std::string& host, std::uint16_t port);

// Runs the checks; prints one line per capability (or one JSON document).
int run_check(const CheckOptions& options);

}  // namespace pemo::cli
