#include "platform/clock.h"

#include <atomic>
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

Clock::time_point clock_now() { return clock().now(); }

void clock_sleep(Clock::duration length) { clock().sleep_for(length); }

ScopedClock::ScopedClock(Clock& c) : previous_(current_clock.exchange(&c, std::memory_order_acq_rel)) {}

ScopedClock::~ScopedClock() { current_clock.store(previous_, std::memory_order_release); }

}  // namespace pemo
