// What Wi-Fi members remember from one member to the next, process-wide: a band
// chosen on one connection is consumed by the next member of whichever connection
// comes first, as the application protocol has it. Every access is guarded.
#pragma once

#include <string>
#include <string_view>

namespace pemo {

// Band texts are kept to 15 characters (a longer one names no band either way).
inline constexpr std::size_t kMaxBandText = 15;

std::string pending_get_band();
void set_pending_get_band(std::string_view band);
std::string pending_set_band();
void set_pending_set_band(std::string_view band);

struct GuestTime {
  int hours = 0;
  int minutes = 0;
};
// Remaining guest time of the last Timer.Hours read.
GuestTime guest_remaining();
void set_guest_remaining(GuestTime time);
// Timer values last written; Minutes restarts the timer with both.
GuestTime guest_timer();
void set_guest_timer_hours(int hours);
GuestTime set_guest_timer_minutes(int minutes);

}  // namespace pemo
