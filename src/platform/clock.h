// The time the agent waits on: every pause and deadline of the product goes
// through one process-wide clock, so tests can advance time instead of
// sleeping, as ScopedRunner lets them record commands.
#pragma once

#include <chrono>

namespace pemo {

class Clock {
 public:
  using time_point = std::chrono::steady_clock::time_point;
  using duration = std::chrono::steady_clock::duration;
  virtual ~Clock() = default;
  virtual time_point now() = 0;
  virtual void sleep_for(duration length) = 0;
  // Waits until `fd` has input (or an error or hang-up to report) or time
  // reaches `deadline`: whether it has.
  virtual bool wait_readable(int fd, time_point deadline);
};

// The process-wide clock's time, and a pause on it.
Clock::time_point clock_now();
void clock_sleep(Clock::duration length);
bool clock_wait_readable(int fd, Clock::time_point deadline);

// Replaces the process-wide clock for its lifetime.
class ScopedClock {
 public:
  explicit ScopedClock(Clock& clock);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

 private:
  Clock* previous_;
};

}  // namespace pemo
