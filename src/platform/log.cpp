#include "platform/log.h"

#include <cstdarg>
#include <syslog.h>

namespace pemo {

std::atomic<int> log_level{kLogDebug};

void log_open() { openlog("pemo-agent", LOG_NOWAIT, LOG_USER); }

void log_msg(int priority, const char* format, ...) {  // NOLINT(cert-dcl50-cpp)
  if (log_level.load(std::memory_order_relaxed) < priority) return;
  va_list args;
  va_start(args, format);
  vsyslog(priority, format, args);
  va_end(args);
}

}  // namespace pemo
