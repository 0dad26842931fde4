// Preloaded into the agent by tests that measure how much it serves, not when:
// every relative sleep shorter than a second lasts a hundredth of what it asks
// for (the 500 ms between accepted connections becomes 5 ms, a 100 ms poll 1 ms).
// Sleeps of a second or more, the rhythm of the WAN probes among them, are kept,
// so the gateway does no more work than it would. Clocks run as usual, so every
// bound and deadline keeps its real length.
#include <dlfcn.h>
#include <time.h>

namespace {

constexpr long long kFactor = 100;
constexpr long long kNanosecondsPerSecond = 1'000'000'000;

timespec shortened(const timespec& request) {
  if (request.tv_sec > 0) return request;
  const long long ns = request.tv_nsec / kFactor;
  return {static_cast<time_t>(ns / kNanosecondsPerSecond), static_cast<long>(ns % kNanosecondsPerSecond)};
}

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int nanosleep(const timespec* request, timespec* remaining) {
  using Real = int (*)(const timespec*, timespec*);
  static const Real real = next<Real>("nanosleep");
  const timespec wait = shortened(*request);
  return real(&wait, remaining);
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
  using Real = int (*)(clockid_t, int, const timespec*, timespec*);
  static const Real real = next<Real>("clock_nanosleep");
  if ((flags & TIMER_ABSTIME) != 0) return real(clock, flags, request, remaining);
  const timespec wait = shortened(*request);
  return real(clock, flags, &wait, remaining);
}
