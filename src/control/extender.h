// Mesh extenders through the 1905 tool, and the gateway's own reboot and reset.
#pragma once

#include <chrono>
#include <string_view>

namespace pemo {

enum DevCtrlAction : int {
  kExtenderReboot = 0,
  kExtenderWifiOn = 1,
  kExtenderWifiOff = 2,
  kAutoConfigSwitch = 3,
  kExtenderFirstBoot = 4,
};

// The tool's answer has no bound of its own; this one keeps a
// tool that never answers from holding a connection thread: -26 when it runs out.
inline constexpr std::chrono::milliseconds kDevCtrlAnswerWait{10'000};

// Runs the 1905 tool for an action and waits for its answer. 0, or -26 (not a
// known extender, a failed answer, or none in time).
[[nodiscard]] int dev_Ctrl(DevCtrlAction action, std::string_view value,
             std::chrono::milliseconds answer_wait = kDevCtrlAnswerWait);
// WiFiAutoCfgByTime members (nodes 208-210): collected, then run at Time. 0, -5
// for another node, or -21 for a value longer than its 3-character slot.
[[nodiscard]] int autocfg_by_time(int node_index, std::string_view value);
// Do nothing while a firmware image is being flashed.
void gateway_reboot();
void gateway_factory_reset();

}  // namespace pemo
