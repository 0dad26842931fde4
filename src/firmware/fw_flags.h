// Process-wide flags of the gateway firmware update, seen by the session layer
// (password cache) and by gateway reboot and factory reset.
#pragma once

#include <atomic>

namespace pemo {

// Written by the firmware worker (firmware.cpp) only; read by the session (the
// cached password) and by reboot and reset (control/extender.cpp).
// Set while the firmware upgrade worker runs.
inline std::atomic<bool> fw_upgrade_running{false};
// Set once the new image is being written; reboot and factory reset do nothing then.
inline std::atomic<bool> fw_flashing{false};

}  // namespace pemo
