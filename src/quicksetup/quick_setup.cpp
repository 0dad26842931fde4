// Quick setup: WAN link, Wi-Fi button, Internet reachability, WAN type, and the
// WAN settings the application collects on first run.
#include <mutex>
#include <string>

#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "platform/lifetime.h"
#include "quicksetup/quicksetup.h"
#include "contract/nodes.h"

namespace pemo {
namespace {

// The status reads share fixed temporary files with fixed names; one lock per
// file keeps two connections from reading or removing each other's output.
std::mutex& link_file_lock() { return process_lifetime<std::mutex, struct LinkFileTag>(); }

std::mutex& wan_type_file_lock() { return process_lifetime<std::mutex, struct WanTypeFileTag>(); }

void wan_link_state_read(std::string& text) {
  std::lock_guard lock(link_file_lock());
  // A register read that answers at once (default bound); a cut run leaves no
  // "off-link" word, which reads as link up, as a missing tool does.
  shell_fire("sys portspeed 4 | grep off-link > /tmp/wanHWConnection");
  const std::string word = read_first_word("/tmp/wanHWConnection");
  text = word.empty() ? "1" : "0";
  unlink_file("/tmp/wanHWConnection");
}

void wifi_button_state_read(std::string& text) {
  text = read_first_word("/tmp/wlan_on").substr(0, 9);
}

void internet_state_read(std::string& text) {
  if (read_first_word("/tmp/connect_internet").empty()) {
    text = "0";
    return;
  }
  text = "1";
  // Ending the captive redirect is a side effect of the read: the state is the answer either way.
  static_cast<void>(cfg_apply("web-redirect"));
}

void wps_watch_stop(std::string_view value) {
  if (value != "1") return;
  shell_fire("kill $(ps | grep 'watch -tn 1 wps_conf_24G' | grep 'grep' -v | awk '{print $1}')");
  shell_fire("kill $(ps | grep 'watch -tn 1 wps_conf_5G' | grep 'grep' -v | awk '{print $1}')");
  shell_fire("kill $(ps | grep 'watch -tn 5 wps_conf_5G' | grep 'grep' -v | awk '{print $1}')");
}

int wan_type_read(std::string& text) {
  const std::string ifname = cfg_value("network.wan.ifname", nullptr, kNameCapacity);
  int rc = 0;
  const std::string proto = cfg_value("network.wan.proto", &rc, kNameCapacity);
  std::lock_guard lock(wan_type_file_lock());
  // Reads one interface's state at once (default bound); no line reads as no address.
  shell_fire("ifconfig " + shell_quote(ifname) + " | grep \"inet addr:\" > /tmp/wanType");
  const bool has_address = !read_first_word("/tmp/wanType").empty();
  // A DHCP WAN that has no address yet is reported as PPPoE.
  text = !has_address && proto == "dhcp" ? "pppoe" : proto;
  unlink_file("/tmp/wanType");
  return rc;
}

// The status members of Tovi123, by name, served in gets and sets alike.
struct StatusMember {
  std::string_view name;
  int (*serve)(std::string_view value, std::string& text);
};
constexpr StatusMember kStatusMembers[] = {
    {"WiFiHWButton", [](std::string_view, std::string& text) { wifi_button_state_read(text); return 0; }},
    {"WanHWConnection", [](std::string_view, std::string& text) { wan_link_state_read(text); return 0; }},
    {"WanInternetConnection", [](std::string_view, std::string& text) { internet_state_read(text); return 0; }},
    {"WiFiAction", [](std::string_view value, std::string&) { wps_watch_stop(value); return 0; }},
    {"WanType", [](std::string_view, std::string& text) { return wan_type_read(text); }},
};

// The WAN objects, by node name. Their members are written only by a set request:
// reads are reads.
struct WanObject {
  int node;
  int (*write)(std::string_view name, std::string_view value);
};
constexpr WanObject kWanObjects[] = {
    {node::kWan,
     [](std::string_view, std::string_view value) {
       if (value != "DHCP") return 0;
       wan_change_prepare();
       return wan_dhcp_write();
     }},
    {node::kWanStatic, [](std::string_view n, std::string_view v) { wan_change_prepare(); return wan_static_write(n, v); }},
    {node::kWanPppoe, [](std::string_view n, std::string_view v) { wan_change_prepare(); return wan_pppoe_write(n, v); }},
    {node::kWanPptp, [](std::string_view n, std::string_view v) { wan_change_prepare(); return wan_pptp_write(n, v); }},
};

}  // namespace

int quick_setup_param_handler(std::string_view name, std::string_view value, ParseContext& context) {
  if (context.node_parent == node::kTovi123) {
    for (const StatusMember& member : kStatusMembers)
      if (member.name == name) return member.serve(value, context.text);
    return 0;
  }
  for (const WanObject& object : kWanObjects)
    if (object.node == context.node_parent) return context.is_set() ? object.write(name, value) : 0;
  return 0;
}

}  // namespace pemo
