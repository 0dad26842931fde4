#include "wifi/memory.h"
#include "platform/lifetime.h"

#include <mutex>

namespace pemo {
namespace {

struct WifiMemory {
  std::mutex mutex;
  std::string pending_get_band;
  std::string pending_set_band;
  GuestTime remaining;
  GuestTime timer;
};

WifiMemory& memory() { return process_lifetime<WifiMemory>(); }

}  // namespace

std::string pending_get_band() {
  std::lock_guard lock(memory().mutex);
  return memory().pending_get_band;
}

void set_pending_get_band(std::string_view band) {
  std::lock_guard lock(memory().mutex);
  memory().pending_get_band.assign(band.substr(0, kMaxBandText));
}

std::string pending_set_band() {
  std::lock_guard lock(memory().mutex);
  return memory().pending_set_band;
}

void set_pending_set_band(std::string_view band) {
  std::lock_guard lock(memory().mutex);
  memory().pending_set_band.assign(band.substr(0, kMaxBandText));
}

GuestTime guest_remaining() {
  std::lock_guard lock(memory().mutex);
  return memory().remaining;
}

void set_guest_remaining(GuestTime time) {
  std::lock_guard lock(memory().mutex);
  memory().remaining = time;
}

GuestTime guest_timer() {
  std::lock_guard lock(memory().mutex);
  return memory().timer;
}

void set_guest_timer_hours(int hours) {
  std::lock_guard lock(memory().mutex);
  memory().timer.hours = hours;
}

GuestTime set_guest_timer_minutes(int minutes) {
  std::lock_guard lock(memory().mutex);
  memory().timer.minutes = minutes;
  return memory().timer;
}

}  // namespace pemo
