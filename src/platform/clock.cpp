#include "platform/clock.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <thread>

#include "platform/lifetime.h"

namespace pemo {
namespace {

class SteadyClock final : public Clock {
 public:
  time_point now() override { return std::chrono::steady_clock::now(); }
  void sleep_for(duration length) override { std::this_thread::sleep_for(length); }
};

std::atomic<Clock*> current_clock{nullptr};

Clock& clock() {
  Clock* c = current_clock.load(std::memory_order_acquire);
  return c != nullptr ? *c : process_lifetime<SteadyClock>();
}

}  // namespace

bool Clock::wait_readable(int fd, time_point deadline) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now());
    if (left.count() <= 0) return false;
    pollfd wanted{fd, POLLIN, 0};
    const int ready = poll(&wanted, 1, static_cast<int>(std::min<std::int64_t>(left.count(), INT32_MAX)));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return true;  // the read that follows reports it
  }
}

Clock::time_point clock_now() { return clock().now(); }

void clock_sleep(Clock::duration length) { clock().sleep_for(length); }

bool clock_wait_readable(int fd, Clock::time_point deadline) { return clock().wait_readable(fd, deadline); }

ScopedClock::ScopedClock(Clock& c) : previous_(current_clock.exchange(&c, std::memory_order_acq_rel)) {}

ScopedClock::~ScopedClock() { current_clock.store(previous_, std::memory_order_release); }

}  // namespace pemo
