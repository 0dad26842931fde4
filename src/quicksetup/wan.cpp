// WAN type configuration in the `network` package, put into effect afterwards by
// wan_apply on the request layer's WAN apply worker.
#include <span>
#include <string>

#include "platform/cfg.h"
#include "platform/shell.h"
#include "quicksetup/quicksetup.h"

namespace pemo {
namespace {

// "USER,%s" is built in a 64-byte area: a longer server list is refused, not cut.
constexpr std::size_t kMaxDns = 58;

int wan_dns_write(std::string_view mode, std::string_view value = {}) {
  if (mode == "USER") {
    if (value.size() > kMaxDns) return kValueRefused;
    return cfg_set("network.wan.dns1", "USER," + std::string(value));
  }
  if (mode == "ISP") return cfg_set("network.wan.dns1", "ISP,");
  return 0;
}

// Both writes go to one package and fail alike: the second one reports for both.
[[nodiscard]] int set_protocol(const char* proto) {
  static_cast<void>(cfg_set("network.wan.proto", proto));
  return cfg_set("network.wan.v6_proto", proto);
}

// The option each member writes, exactly as received; kUserDns: the user's DNS list.
struct MemberOption {
  std::string_view member;
  const char* option;
};
constexpr const char* kUserDns = nullptr;

// Writes `name`'s option, or answers `otherwise` when no row is it.
int write_member(std::span<const MemberOption> rows, std::string_view name, std::string_view value, int otherwise) {
  for (const MemberOption& row : rows) {
    if (row.member != name) continue;
    return row.option == kUserDns ? wan_dns_write("USER", value) : cfg_set(row.option, value);
  }
  return otherwise;
}

constexpr MemberOption kStaticOptions[] = {{"StaticIP", "network.wan.ipaddr"},
                                           {"Netmask", "network.wan.netmask"},
                                           {"Gateway", "network.wan.gateway"},
                                           {"Dns", kUserDns}};
// Credentials are user data: stored exactly as received.
constexpr MemberOption kPppoeOptions[] = {{"Account", "network.wan.username"},
                                          {"Password", "network.wan.password"},
                                          {"StaticWan", "network.wan.pppoeWanIpAddr"}};
constexpr MemberOption kPptpOptions[] = {
    {"StaticIP", "network.wan.ipaddr"},       {"Netmask", "network.wan.netmask"},
    {"Gateway", "network.wan.gateway"},       {"Type", "network.vpn.proto"},
    {"Account", "network.vpn.pptp_username"}, {"Password", "network.vpn.pptp_password"},
    {"ServerIP", "network.vpn.pptp_serverip"}};

}  // namespace

void wan_change_prepare() {
  // The quick-setup mark only tells discovery that set-up ran; the change goes on without it.
  static_cast<void>(cfg_set("system.main.Tovi123", "1"));
  std::string proto = "network.wan.proto";
  if (cfg_get(proto, kNameCapacity) < 0) proto.clear();
  shell_fire("echo 1 > /var/update_dns_lock");
  shell_fire("echo " + shell_quote(proto) + " > /tmp/old_wan_proto");
}

int wan_dhcp_write() {
  static_cast<void>(set_protocol("dhcp"));  // `network` too: the DNS write reports for both
  return wan_dns_write("ISP");
}

int wan_static_write(std::string_view name, std::string_view value) {
  return write_member(kStaticOptions, name, value, set_protocol("static"));
}

int wan_pppoe_write(std::string_view name, std::string_view value) {
  // The link defaults go to the package the DNS write goes to: that write reports for all.
  static_cast<void>(set_protocol("pppoe"));
  static_cast<void>(cfg_set("network.wan.demand", ""));
  static_cast<void>(cfg_set("network.wan.mtu", "1492"));
  return write_member(kPppoeOptions, name, value, wan_dns_write("ISP"));
}

int wan_pptp_write(std::string_view name, std::string_view value) {
  // The tunnel defaults go to the package the encryption write goes to: that write reports for all.
  static_cast<void>(set_protocol("pptp"));
  static_cast<void>(cfg_set("network.vpn.v6_proto", "static"));
  static_cast<void>(cfg_set("network.vpn.pptp_Nailedup", "1"));
  static_cast<void>(cfg_set("network.vpn.pptpWanIPMode", "1"));
  return write_member(kPptpOptions, name, value, cfg_set("network.vpn.pptp_Encryption", "Auto"));
}

int wan_apply() {
  // Every WAN change leaves the gateway in IPv4-only operation; the results of
  // these writes are not looked at, only the apply's.
  static_cast<void>(cfg_set("network.wan.ipv4", "1"));
  static_cast<void>(cfg_set("network.wan.ipv6", "0"));
  static_cast<void>(cfg_set("network.wan.ipv6Enable", "0"));
  static_cast<void>(cfg_set("network.wan.IP_version", "IPv4_Only"));
  static_cast<void>(cfg_set("network.general.config_section", "wan"));
  return cfg_apply("network");
}

}  // namespace pemo
