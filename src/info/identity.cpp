#include "info/identity.h"

#include <unistd.h>

#include <cstdlib>

#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/probe_db.h"
#include "platform/shell.h"
#include "platform/log.h"

namespace pemo {

int gateway_autocfg_state(std::string& mac) {
  const QueryTable table = probe_db_rows("SELECT ALMac,AutoConfigFunc FROM DevFunc where [Devicemode]='Router';");
  long sum = 0;
  for (int row = 1; row <= table.rows(); ++row) {
    const char* almac = table.cell(row, 0);
    const char* func = table.cell(row, 1);
    if (func != nullptr) sum += std::strtol(func, nullptr, 10);
    mac = almac != nullptr ? std::string(almac).substr(0, 31) : "";
  }
  return sum > 0 ? 1 : 0;
}

int host_name_by_almac(std::string_view mac, std::string& out) {
  if (mac.empty()) return 0;
  const QueryTable table = probe_db_rows(sql_format("SELECT HostName FROM Device where [ALMac]='%s';", mac));
  if (table.rows() < 1) return 0;
  if (const char* name = table.cell(1, 0)) out = name;
  return 1;
}

void gateway_name_get(std::string& out) {
  std::string mac = "NULL";
  static_cast<void>(gateway_autocfg_state(mac));  // only the router's AL MAC is wanted
  // Found or not, `out` holds the answer: its default unless the row has a name.
  if (mac != "NULL") static_cast<void>(host_name_by_almac(mac, out));
}

void gateway_almac_get(std::string& out) {
  std::string mac = "NULL";
  static_cast<void>(gateway_autocfg_state(mac));  // only the router's AL MAC is wanted
  if (mac != "NULL") out = mac;
}

void gateway_autocfg_get(std::string& out) {
  std::string mac;
  if (gateway_autocfg_state(mac) == 1) out = "1";
}

int login_flag_get() {
  std::string password = "system.main.pwd";
  if (cfg_get(password, kNameCapacity) < 0) return 0;
  return password != kFactoryPassword ? 1 : 0;
}

int wifi_setting_flag_get() { return access(kWifiSettingFlagFile, R_OK) == 0 ? 1 : 0; }

int wifi_setting_flag_set(std::string_view text) {
  if (text == "1") {
    shell_fire("sh /etc/pemo-agent/wifi_setting_flag.sh");
    return 0;
  }
  if (text == "0") {
    unlink(kWifiSettingFlagFile);
    return 0;
  }
  return log_status(kActionFailed, "the Wi-Fi-configured mark takes 0 or 1");
}

}  // namespace pemo
