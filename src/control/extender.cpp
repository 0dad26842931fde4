#include "control/extender.h"

#include <unistd.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <thread>

#include "contract/mesh_tool.h"
#include "firmware/fw_flags.h"
#include "platform/cfg.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/probe_db.h"
#include "platform/shell.h"
#include "platform/lifetime.h"
#include "contract/context.h"
#include "contract/nodes.h"
#include "wire/status.h"
#include "platform/log.h"

namespace pemo {
namespace {

constexpr std::size_t kSlotSize = 3;

std::string command_for(DevCtrlAction action, const std::string& value) {
  switch (action) {
    case kExtenderReboot: return std::string(kMeshTool) + " 2 " + value;
    case kExtenderWifiOn: return std::string(kMeshTool) + " 3 " + value + " 00:00:00:00:00:00 0x01ff 0";
    case kExtenderWifiOff: return std::string(kMeshTool) + " 3 " + value + " 00:00:00:00:00:00 0x01ff 2";
    case kAutoConfigSwitch: return std::string(kMeshTool) + " 4 1 " + value + " " + value;
    case kExtenderFirstBoot: return std::string(kMeshTool) + " 10 " + value;
  }
  return {};
}

// The first line of the tool's answer file, polled until one can be read.
bool wait_for_answer(std::chrono::milliseconds wait, std::string& line) {
  const auto deadline = clock_now() + wait;
  for (;;) {
    if (mesh_tool_answer(line, 15)) return true;
    if (clock_now() >= deadline) return false;
    clock_sleep(std::chrono::milliseconds(100));
  }
}

// DeviceMode, ControlOption and Time of WiFiAutoCfgByTime, shared by every
// connection until Time runs the command.
struct ByTimeSlots {
  std::mutex mutex;
  std::string device_mode, control_option, time;
};

ByTimeSlots& by_time_slots() { return process_lifetime<ByTimeSlots>(); }

}  // namespace

int dev_Ctrl(DevCtrlAction action, std::string_view value, std::chrono::milliseconds answer_wait) {
  if (action != kAutoConfigSwitch && isL2AlMac(value) != 1)
    return log_status(kActionFailed, "no known extender has that MAC");
  const std::string command = command_for(action, shell_quote(value));
  // The tool hands the request to the extender and returns; the answer comes in a
  // file. A run that did not end by itself has no answer to wait for.
  const int status = shell_run(command, kMeshToolBound);
  std::printf("%s : syscmd %s\n", "dev_Ctrl", command.c_str());
  if (!ran_to_end(status)) return log_status(kActionFailed, "the 1905 tool did not end by itself");
  clock_sleep(std::chrono::seconds(1));
  std::string answer;
  if (!wait_for_answer(answer_wait, answer)) return log_status(kActionFailed, "the 1905 tool never answered");
  if (answer.find("00") == std::string::npos) return log_status(kActionFailed, "the extender refused");
  if (action == kAutoConfigSwitch) {
    const char* state = value == "0" ? "0" : "1";
    // The tool has switched already: these options only mirror its state for readers.
    static_cast<void>(cfg_set("wireless.@wifi-iface[0].AP_autoconfig", state));
    static_cast<void>(cfg_set("wireless.@wifi-iface[4].AP_autoconfig", state));
  }
  return 0;
}

int autocfg_by_time(int node_index, std::string_view value) {
  ByTimeSlots& slots = by_time_slots();
  std::string* slot = nullptr;
  std::lock_guard lock(slots.mutex);
  switch (node_index) {
    case node::kByTimeDeviceMode: slot = &slots.device_mode; break;
    case node::kByTimeControl: slot = &slots.control_option; break;
    case node::kByTimeTime: slot = &slots.time; break;
    default: return kNothingHere;
  }
  // A value that does not fit its slot is refused rather than cut into another one.
  if (value.size() > kSlotSize) return kValueRefused;
  slot->assign(value);
  if (node_index != node::kByTimeTime) return 0;
  // Empty slots leave their words out, as an unfilled slot does.
  std::string command = std::string(kMeshTool) + " 15";
  for (const std::string* word : {&slots.device_mode, &slots.control_option, &slots.control_option, &slots.time})
    if (!word->empty()) command += " " + shell_quote(*word);
  shell_fire(command);
  slots.device_mode.clear();
  slots.control_option.clear();
  slots.time.clear();
  return 0;
}

void gateway_reboot() {
  if (!fw_flashing.load()) shell_fire("reboot");
}

void gateway_factory_reset() {
  if (!fw_flashing.load()) shell_fire("romreset 1");
}

}  // namespace pemo
