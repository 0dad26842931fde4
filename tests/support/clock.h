// Time for tests: the product's pauses go through this clock instead of
// sleeping, so a test decides when time moves.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <set>

#include "platform/clock.h"

namespace pemo::test {

class ManualClock final : public Clock {
 public:
  enum class Mode {
    kAdvanceOnSleep,  // every pause returns at once, moving time on by its length
    kAdvanceByTest,   // pauses last until the test advances time past their end
  };
  explicit ManualClock(Mode mode = Mode::kAdvanceOnSleep) : mode_(mode) {}

  time_point now() override;
  void sleep_for(duration length) override;
  // Input ends the wait at once; time only when the test moves it past `deadline`.
  bool wait_readable(int fd, time_point deadline) override;
  // Moves time on; returns once every pause that ended has returned (at most 10 s).
  void advance(duration length);
  // Waits (at most 10 s of real time) until `count` threads pause or wait for
  // input on this clock.
  bool wait_for_sleepers(std::size_t count);

 private:
  const Mode mode_;
  std::mutex mutex_;
  std::condition_variable changed_;
  time_point now_{};
  std::multiset<time_point> pauses_;  // the ends of the pauses under way
};

// The test process's clock, put in place by the test for its duration. Never
// destroyed: detached threads may pause on it until the process exits.
ManualClock& process_clock(ManualClock::Mode mode);

}  // namespace pemo::test
