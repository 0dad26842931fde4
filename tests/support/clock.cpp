#include "support/clock.h"

#include <poll.h>

#include <chrono>
#include <memory>

namespace pemo::test {

using namespace std::chrono_literals;

Clock::time_point ManualClock::now() {
  std::lock_guard lock(mutex_);
  return now_;
}

void ManualClock::sleep_for(duration length) {
  std::unique_lock lock(mutex_);
  if (mode_ == Mode::kAdvanceOnSleep) {
    now_ += length;
    changed_.notify_all();
    return;
  }
  const time_point end = now_ + length;
  const auto pause = pauses_.insert(end);
  changed_.notify_all();
  changed_.wait(lock, [&] { return now_ >= end; });
  pauses_.erase(pause);
  changed_.notify_all();
}

bool ManualClock::wait_readable(int fd, time_point deadline) {
  std::unique_lock lock(mutex_);
  const auto wait = pauses_.insert(deadline);
  changed_.notify_all();
  bool readable = false;
  while (!readable && now_ < deadline) {
    lock.unlock();
    pollfd wanted{fd, POLLIN, 0};
    readable = poll(&wanted, 1, 5) != 0;
    lock.lock();
  }
  pauses_.erase(wait);
  changed_.notify_all();
  return readable;
}

void ManualClock::advance(duration length) {
  std::unique_lock lock(mutex_);
  now_ += length;
  changed_.notify_all();
  changed_.wait_for(lock, 10s, [&] { return pauses_.empty() || *pauses_.begin() > now_; });
}

bool ManualClock::wait_for_sleepers(std::size_t count) {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, 10s, [&] { return pauses_.size() >= count; });
}

ManualClock& process_clock(ManualClock::Mode mode) {
  static ManualClock* const clock = std::make_unique<ManualClock>(mode).release();
  return *clock;
}

}  // namespace pemo::test
