// Action nodes: commands of Device.X_Halvo_Ext, a few host and radio values, and
// placeholders. Dispatch is by the bound node's parent, then by its index.
#include <cstdio>
#include <sstream>

#include "control/approval.h"
#include "control/blocking.h"
#include "control/control.h"
#include "control/extender.h"
#include "control/parental.h"
#include "control/wps.h"
#include "info/identity.h"
#include "platform/files.h"
#include "contract/nodes.h"
#include "wire/status.h"

namespace pemo {
namespace {


int command_set(int node, std::string_view value) {
  switch (node) {
    case node::kBlockMac: return host_block(value);
    case node::kUnblockMac: return host_unblock(value);
    case node::kExtenderRebootMac: return dev_Ctrl(kExtenderReboot, value);
    case node::kExtenderWifiOnMac: return dev_Ctrl(kExtenderWifiOn, value);
    case node::kExtenderWifiOffMac: return dev_Ctrl(kExtenderWifiOff, value);
    case node::kReboot:
      if (value == "1") gateway_reboot();
      return 0;
    case node::kFactoryReset:
      if (value == "1") gateway_factory_reset();
      return 0;
    case node::kAutoCfgControl: return dev_Ctrl(kAutoConfigSwitch, value);
    case node::kWifiConfigFlag: return wifi_setting_flag_set(value);
    case node::kExtenderFirstbootMac: return dev_Ctrl(kExtenderFirstBoot, value);
    default: return kNothingHere;
  }
}

int action_set(std::string_view value, ParseContext& context) {
  switch (context.node_parent) {
    case node::kApprove:
    case node::kApproveEntry: return approval_update(context.node_index, value, context);
    case node::kByTime: return autocfg_by_time(context.node_index, value);
    case node::kCheckedEntry: return checked_list_update(context.node_index, value, context);
    case node::kWps: return wps_start(value);
    case node::kSsidInstance:
    case node::kRadioInstance: return kNotWritable;
    case node::kHostInstance:
      if (context.node_index == node::kHostAddPcpRule) return parental_rule_add(value, context);
      return context.node_index == node::kHostActive || context.node_index == node::kHostBlocking ? kNotWritable
                                                                                                 : kNothingHere;
    default: return command_set(context.node_index, value);
  }
}

// The channel of radio 1 (lines with "24G") or 2 (lines with "5G") from
// /tmp/wifi_channel: the text after the first '=', the last matching line winning.
void radio_channel(int radio, std::string& text) {
  std::string content;
  if (!read_text_file("/tmp/wifi_channel", content)) return;
  std::istringstream lines(content);
  for (std::string line; std::getline(lines, line);) {
    line.resize(std::min<std::size_t>(line.size(), 31));
    if (line.find(radio == 1 ? "24G" : "5G") == std::string::npos) continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || equals == 0) continue;
    std::string_view channel = first_word(std::string_view(line).substr(equals + 1));
    if (!channel.empty()) text.assign(channel);
  }
}

int radio_get(ParseContext& context) {
  const int radio = context.innermost_instance();
  std::string& text = context.text;
  switch (context.node_index) {
    case node::kRadioEnable:
    case node::kRadioMaxBitRate:
    case node::kRadioStandards: return 0;  // the preset argument text is the answer
    case node::kRadioStatus:
      if (radio == 1 || radio == 2) text = "Up";
      return 0;
    case node::kRadioBand:
      if (radio == 1) text = "2.4GHz";
      if (radio == 2) text = "5GHz";
      return 0;
    case node::kRadioActionChannel:
      if (radio == 1 || radio == 2) radio_channel(radio, text);
      return 0;
    default: return kNothingHere;
  }
}

int auto_config_func_state_get(std::string& text) {
  std::printf("%s : Enter\n", "auto_config_func_state_get");
  std::string content;
  int state = 0;
  if (!read_text_file("/tmp/auto_cfg", content, 64) || std::sscanf(content.c_str(), "%d", &state) != 1)
    state = 0;
  text = std::to_string(state);
  return 0;
}

int action_get(ParseContext& context) {
  switch (context.node_parent) {
    case node::kHostInstance:
      switch (context.node_index) {
        case node::kHostActive: context.text = "1"; return 0;
        case node::kHostBlocking: return host_blocking_state(context);
        case node::kHostParentalBlocking: return host_parental_blocking_state(context);
        case node::kHostAddPcpRule: return kNotReadable;
        default: return kNothingHere;
      }
    case node::kSsidInstance:
    case node::kRadioInstance: return radio_get(context);
    case node::kApprove:
    case node::kApproveEntry:
      return context.node_index == node::kApproveEnable ? approve_flag_get(context) : kNothingHere;
    case node::kWps: context.text = wps_status(); return 0;
    default:
      switch (context.node_index) {
        case node::kBlockMac:
        case node::kUnblockMac:
        case node::kExtenderRebootMac:
        case node::kExtenderWifiOnMac:
        case node::kExtenderWifiOffMac:
        case node::kExtenderFirstbootMac: return kNotReadable;
        case node::kReboot:
        case node::kFactoryReset: context.text = "0"; return 0;
        case node::kAutoCfgControl: return auto_config_func_state_get(context.text);
        default: return kNothingHere;
      }
  }
}

}  // namespace

// The member's name plays no part: the bound node decides.
int action_param_handler(std::string_view, std::string_view raw_value, ParseContext& context) {
  const std::string_view value = cut_at_quotes(raw_value);
  if (!context.is_set()) return action_get(context);
  if (value.empty()) return kEmptySetValue;
  return action_set(value, context);
}

}  // namespace pemo
