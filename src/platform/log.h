// Process-wide logging: syslog gated by log_level, plus the ungated console texts.
#pragma once

#include <atomic>

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

}  // namespace pemo
