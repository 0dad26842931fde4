// Process-wide logging: syslog gated by log_level, plus the ungated console texts.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

namespace pemo {

// Priorities used by the agent (syslog numbering).
inline constexpr int kLogErr = 3;
inline constexpr int kLogWarning = 4;
inline constexpr int kLogInfo = 6;
inline constexpr int kLogDebug = 7;

// A message of priority p reaches syslog only when log_level >= p.
extern std::atomic<int> log_level;

// Opens syslog with the agent's ident ("pemo-agent", LOG_USER).
void log_open();

// printf-style message to syslog at `priority`, when log_level allows it. The
// format attribute lets the compiler check every call's arguments.
void log_msg(  // NOLINT(cert-dcl50-cpp): the messages are printf formats by design
    int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

// Logs why a request gets `status`, at info level, and returns it: each place
// that answers a status that covers several causes says which one it is.
int log_status(int status, const char* reason);

// Secrets in log lines: with masking on (the default), the values of password
// and key members of JSON text appear as "***" in every line, and so do the
// values of password and key options that `log_value` is given.
inline constexpr std::string_view kMasked = "***";
void log_mask_secrets(bool on);
// `value` as a log line may show it: kMasked for a password or key option path.
std::string_view log_value(std::string_view uci_path, std::string_view value);
// `text` with the values of its password and key members masked.
std::string mask_secret_members(std::string_view text);

}  // namespace pemo
