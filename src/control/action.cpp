// Action nodes: commands of Device.X_Halvo_Ext, a few host and radio values, and
// placeholders, served by one table keyed by the bound node's parent and name.
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

using Get = int (*)(ParseContext& context);
using Set = int (*)(std::string_view value, ParseContext& context);
constexpr int kAny = -1;
constexpr Get kWriteOnly = [](ParseContext&) { return kNotReadable; };
constexpr Set kReadOnly = [](std::string_view, ParseContext&) { return kNotWritable; };
constexpr Set kApproval = [](std::string_view v, ParseContext& c) { return approval_update(c.node_index, v, c); };

// Every action node, by its parent and its name (kAny: any of them); the first row
// that matches serves it. A missing direction is nothing to do (kNothingHere).
struct ActionRow {
  int parent, node;
  Get get;
  Set set;
};
constexpr ActionRow kActions[] = {
    {node::kHostInstance, node::kHostActive, [](ParseContext& c) { c.text = "1"; return 0; }, kReadOnly},
    {node::kHostInstance, node::kHostBlocking, host_blocking_state, kReadOnly},
    {node::kHostInstance, node::kHostParentalBlocking, host_parental_blocking_state, nullptr},
    {node::kHostInstance, node::kHostAddPcpRule, kWriteOnly, parental_rule_add},
    {node::kHostInstance, kAny, nullptr, nullptr},
    {node::kSsidInstance, kAny, radio_get, kReadOnly},
    {node::kRadioInstance, kAny, radio_get, kReadOnly},
    {node::kApprove, node::kApproveEnable, approve_flag_get, kApproval},
    {node::kApprove, kAny, nullptr, kApproval},
    {node::kApproveEntry, kAny, nullptr, kApproval},
    {node::kByTime, kAny, nullptr, [](std::string_view v, ParseContext& c) { return autocfg_by_time(c.node_index, v); }},
    {node::kCheckedEntry, kAny, nullptr,
     [](std::string_view v, ParseContext& c) { return checked_list_update(c.node_index, v, c); }},
    {node::kWps, kAny, [](ParseContext& c) { c.text = wps_status(); return 0; },
     [](std::string_view v, ParseContext&) { return wps_start(v); }},
    {kAny, node::kBlockMac, kWriteOnly, [](std::string_view v, ParseContext&) { return host_block(v); }},
    {kAny, node::kUnblockMac, kWriteOnly, [](std::string_view v, ParseContext&) { return host_unblock(v); }},
    {kAny, node::kExtenderRebootMac, kWriteOnly,
     [](std::string_view v, ParseContext&) { return dev_Ctrl(kExtenderReboot, v); }},
    {kAny, node::kExtenderWifiOnMac, kWriteOnly,
     [](std::string_view v, ParseContext&) { return dev_Ctrl(kExtenderWifiOn, v); }},
    {kAny, node::kExtenderWifiOffMac, kWriteOnly,
     [](std::string_view v, ParseContext&) { return dev_Ctrl(kExtenderWifiOff, v); }},
    {kAny, node::kExtenderFirstbootMac, kWriteOnly,
     [](std::string_view v, ParseContext&) { return dev_Ctrl(kExtenderFirstBoot, v); }},
    {kAny, node::kReboot, [](ParseContext& c) { c.text = "0"; return 0; },
     [](std::string_view v, ParseContext&) {
       if (v == "1") gateway_reboot();
       return 0;
     }},
    {kAny, node::kFactoryReset, [](ParseContext& c) { c.text = "0"; return 0; },
     [](std::string_view v, ParseContext&) {
       if (v == "1") gateway_factory_reset();
       return 0;
     }},
    {kAny, node::kAutoCfgControl, [](ParseContext& c) { return auto_config_func_state_get(c.text); },
     [](std::string_view v, ParseContext&) { return dev_Ctrl(kAutoConfigSwitch, v); }},
    {kAny, node::kWifiConfigFlag, nullptr, [](std::string_view v, ParseContext&) { return wifi_setting_flag_set(v); }},
};

}  // namespace

// The member's name plays no part: the bound node decides.
int action_param_handler(std::string_view, std::string_view raw_value, ParseContext& context) {
  const std::string_view value = cut_at_quotes(raw_value);
  if (context.is_set() && value.empty()) return kValueRefused;
  for (const ActionRow& row : kActions) {
    if ((row.parent != kAny && row.parent != context.node_parent) || (row.node != kAny && row.node != context.node_index))
      continue;
    if (!context.is_set()) return row.get != nullptr ? row.get(context) : kNothingHere;
    return row.set != nullptr ? row.set(value, context) : kNothingHere;
  }
  return kNothingHere;
}

}  // namespace pemo
