// Host list, extender attributes and gateway status values.
#include <json-c/json.h>

#include <cinttypes>
#include <cstdio>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "contract/connection.h"
#include "info/info.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/lnwt.h"
#include "platform/log.h"
#include "platform/probe_db.h"
#include "platform/shell.h"
#include "contract/features.h"
#include "contract/nodes.h"
#include "wire/status.h"

namespace pemo {
namespace {

// Host snapshot columns.
enum Cell {
  kDevType = 0,
  kConnType = 1,
  kDevName = 2,
  kIpAddress = 3,
  kAlMac = 4,
  kDevMac = 5,
  kSignal = 6,
  kPhyRate = 7,
  kNeighbor = 10,
  kHostType = 11,
  kHostName = 12,
  kRssi = 14,
  kExtraInfo = 15,
  kManufacturer = 16,
  kGuest = 17,
  kChannel = 20,
  kBand = 21,
};
constexpr std::size_t kStatementCapacity = 256;
constexpr std::size_t kMacCapacity = 23;

// The host row a member addresses: the innermost instance of the connection's
// snapshot. Before any snapshot, or past its rows, every cell reads as null.
struct HostRow {
  const QueryTable* table = nullptr;
  int row = 0;
  const char* cell(int column) const { return table != nullptr ? table->cell(row, column) : nullptr; }
  bool is(int column, const char* text) const {
    const char* value = cell(column);
    return value != nullptr && std::strcmp(value, text) == 0;
  }
};

// What a connection keeps of the hosts between requests.
struct HostSession {
  QueryTable table;            // the snapshot taken at HostNumberOfEntries
  std::string remembered_mac;  // HostMAC of a name or type change, at most 23 characters
};

// The calling connection's host state, or nullptr outside a connection.
HostSession* own_hosts() {
  ConnectionRecord* record = own_connection_record();
  return record != nullptr ? &record->hosts.get<HostSession>() : nullptr;
}

HostRow host_row(int row) {
  const HostSession* hosts = own_hosts();
  return HostRow{hosts != nullptr ? &hosts->table : nullptr, row};
}

HostRow innermost_host(const ParseContext& context) {
  return host_row(context.innermost_instance());
}

void copy_cell(const char* cell, const char* fallback, std::string& text) {
  if (cell != nullptr)
    text.assign(cell, strnlen(cell, kMaxText));
  else
    text = fallback;
}

// The ExtraInfo JSON of a row; null when missing or unparsable.
JsonPtr extra_info(const HostRow& host) { return json_parse_object(host.cell(kExtraInfo)); }

void database_extra_info_get(const HostRow& host, const char* key, std::string& text) {
  text = "0";
  if (host.cell(kExtraInfo) == nullptr) return;
  JsonPtr info = extra_info(host);
  if (!info) {
    log_msg(kLogErr, "%s : json parse error\n", "database_extra_info_get");
    return;
  }
  if (const std::optional<int> rate = json_integer(json_member(info.get(), key))) text = std::to_string(*rate);
}

void channel(const HostRow& host, bool band_24g, std::string& text) {
  text = "0";
  if (host.is(kDevType, "L2Device") && host.cell(kAlMac) != nullptr) {
    probe_db_lookup(band_24g ? "SELECT Channel_24G FROM DevFunc WHERE [ALMac]='%s';"
                             : "SELECT Channel_5G FROM DevFunc WHERE [ALMac]='%s';",
                    host.cell(kAlMac), text);
  } else if (host.cell(kDevMac) != nullptr && host.cell(kChannel) != nullptr &&
             host.cell(kBand) != nullptr) {
    if ((band_24g && host.is(kBand, "1")) || (!band_24g && host.is(kBand, "2")))
      copy_cell(host.cell(kChannel), "0", text);
  }
}

void take_snapshot(std::string& text) {
  HostSession* hosts = own_hosts();
  QueryTable table = probe_db_rows("SELECT * FROM Device where [Alive]=1 OR ([Alive]=0 AND [nNotAlive] <= 2);");
  text = std::to_string(table.rows());
  if (hosts != nullptr) hosts->table = std::move(table);  // the old one is released
}

// The members of Host.{i}, each read from the connection's snapshot row.
struct HostMember {
  std::string_view name;
  void (*read)(const HostRow& host, std::string& text);
};
constexpr HostMember kHostMembers[] = {
    {"HostName", [](const HostRow& host, std::string& text) { copy_cell(host.cell(kHostName), "unknown", text); }},
    {"X_Halvo_HostType",
     [](const HostRow& host, std::string& text) {
       const char* type = host.cell(kHostType);
       text = type != nullptr && std::strcmp(type, "0") != 0 ? std::string(type, strnlen(type, kMaxText)) : "1";
     }},
    {"PhysAddress",
     [](const HostRow& host, std::string& text) {
       copy_cell(host.cell(host.is(kDevType, "L2Device") ? kAlMac : kDevMac), "N/A", text);
     }},
    {"IPAddress", [](const HostRow& host, std::string& text) { copy_cell(host.cell(kIpAddress), "N/A", text); }},
    {"X_Halvo_CapabilityType",
     [](const HostRow& host, std::string& text) {
       copy_cell(host.cell(kDevType), "", text);
       if (text != "L2Device") return;
       std::string version = "0";
       const char* mac = host.cell(kAlMac);
       probe_db_lookup("SELECT AppVersion FROM DevFunc WHERE [ALMac]='%s';", mac != nullptr ? mac : "", version);
       if (std::atof(version.c_str()) > app_version()) text = "Client";
     }},
    {"X_Halvo_ConnectionType",
     [](const HostRow& host, std::string& text) {
       copy_cell(host.cell(kConnType), "", text);
       if (text.find("WiFi") != std::string::npos) text = "WiFi";
     }},
    {"X_Halvo_DeviceName",
     [](const HostRow& host, std::string& text) {
       copy_cell(host.cell(kDevName), "unknown", text);
       if (text == "unknown") copy_cell(host.cell(kManufacturer), "unknown", text);
     }},
    {"X_Halvo_PhyRate", [](const HostRow& host, std::string& text) { copy_cell(host.cell(kPhyRate), "0", text); }},
    {"X_Halvo_SoftwareVersion",
     [](const HostRow& host, std::string& text) {
       text = "N/A";
       JsonPtr info = extra_info(host);
       if (const auto version = json_text(json_member(info.get(), "FirmwareVersion")))
         text.assign(version->substr(0, kMaxText));
     }},
    {"X_Halvo_Neighbor", [](const HostRow& host, std::string& text) { copy_cell(host.cell(kNeighbor), "unknown", text); }},
    {"X_Halvo_DL_Rate", [](const HostRow& host, std::string& text) { database_extra_info_get(host, "RxDataRate", text); }},
    {"X_Halvo_UL_Rate", [](const HostRow& host, std::string& text) { database_extra_info_get(host, "TxDataRate", text); }},
    {"X_Halvo_Manufacturer",
     [](const HostRow& host, std::string& text) { copy_cell(host.cell(kManufacturer), "unknown", text); }},
    {"X_Halvo_Channel_24G", [](const HostRow& host, std::string& text) { channel(host, true, text); }},
    {"X_Halvo_Channel_5G", [](const HostRow& host, std::string& text) { channel(host, false, text); }},
};

void host_parameter_get(std::string_view name, ParseContext& context) {
  log_msg(kLogDebug, "%s : name %.*s\n", "host_parameter_get", static_cast<int>(name.size()),
          name.data());
  if (name == "HostNumberOfEntries") return take_snapshot(context.text);
  for (const HostMember& member : kHostMembers)
    if (member.name == name) return member.read(innermost_host(context), context.text);
}

void up_time(std::string& text) {
  std::string content;
  double seconds = 0;
  if (read_text_file("/proc/uptime", content, 128) && std::sscanf(content.c_str(), "%lf", &seconds) == 1)
    text = std::to_string(static_cast<long long>(seconds));
}

void system_time(std::string& text) {
  ShellResult r = shell_capture("date", 256);
  if (r.status < 0 && r.output.empty()) return;
  // The first line as a 48-byte line buffer holds it, without its last character.
  const std::size_t end = r.output.find('\n');
  std::string line = r.output.substr(0, end == std::string::npos ? r.output.size() : end + 1);
  line.resize(std::min<std::size_t>(line.size(), 47));
  if (!line.empty()) line.pop_back();
  text = line;
}

void cpu_usage(std::string& text) {
  std::string content;
  if (!read_text_file("/proc/stat", content, 256)) return;
  cpu_usage_from(content.substr(0, content.find('\n')), text);
}

// UPDATE of a host's name or type, then the probe library is told. The statement
// is refused, not cut, when it would not fit the protocol's 256-byte statement.
int change_host(const std::string& mac, bool name_change, std::string_view value) {
  const std::string quoted_mac = sql_quote(mac);
  std::string sql;
  if (name_change) {
    std::string name;  // the value cannot hold a double quote after the cut; keep it so
    for (char c : value) name += c == '"' ? std::string("\"\"") : std::string(1, c);
    sql = "UPDATE Device set DevName=\"" + name + "\" where [ALMAC]='" + quoted_mac +
          "' OR [DevMac]='" + quoted_mac + "';";
  } else {
    // A type beyond int would wrap into another, valid-looking one.
    const long long type = std::strtoll(std::string(value).c_str(), nullptr, 10);
    if (type < INT_MIN || type > INT_MAX) return kValueRefused;
    sql = "UPDATE Device set HostType=" + std::to_string(type) +
          " where [ALMAC]='" + quoted_mac + "' OR [DevMac]='" + quoted_mac + "';";
  }
  if (sql.size() >= kStatementCapacity) return kUnserved;
  int rc = probe_db_exec(sql);
  const std::string text(value);
  lnwt_updtae_netmap_record(mac.c_str(), name_change ? kNetmapFieldName : kNetmapFieldType,
                            name_change ? text.c_str() : nullptr, name_change ? nullptr : text.c_str());
  return rc;
}

// Values of the gateway itself, served by the same handler wherever they stand.
struct GatewayValue {
  std::string_view name;
  void (*read)(std::string& text);
};
constexpr GatewayValue kGatewayValues[] = {
    {"UpTime", up_time},
    {"SystemTime", system_time},
    {"CPUUsage", cpu_usage},
    {"GatewayDescription", [](std::string& text) { text = "1"; }},
};

int host_set(std::string_view name, std::string_view raw_value, ParseContext& context) {
  const std::string_view value = cut_at_quotes(raw_value);
  if (value.empty()) return kValueRefused;
  if (context.node_parent != node::kDevNameChange && context.node_parent != node::kHostTypeChange) return 0;
  HostSession* record = own_hosts();
  if (record == nullptr) return 0;
  if (name == "HostMAC") {
    record->remembered_mac.assign(value.substr(0, kMacCapacity));
    return 0;
  }
  if (context.node_parent == node::kDevNameChange && name == "Name")
    return change_host(record->remembered_mac, true, value);
  if (context.node_parent == node::kHostTypeChange && name == "HostType")
    return change_host(record->remembered_mac, false, value);
  return 0;
}

}  // namespace

int host_param_handler(std::string_view name, std::string_view value, ParseContext& context) {
  if (context.is_set()) return host_set(name, value, context);
  for (const GatewayValue& gateway : kGatewayValues) {
    if (gateway.name != name) continue;
    gateway.read(context.text);
    return 0;
  }
  if (context.node_parent == node::kHostInstance || context.node_parent == node::kHosts)
    host_parameter_get(name, context);
  return 0;
}

int l2device_param_handler(std::string_view name, std::string_view, ParseContext& context) {
  if (context.is_set()) return 0;
  const HostRow host = innermost_host(context);
  const char* almac = host.is(kDevType, "L2Device") ? host.cell(kAlMac) : nullptr;
  const std::string mac = almac != nullptr ? almac : "";
  std::string& text = context.text;
  struct Lookup {
    const char* member;
    const char* statement;
    bool needs_extender;  // without one: "0"; otherwise looked up with an empty MAC
  };
  static constexpr Lookup kLookups[] = {
      {"X_Halvo_AutoCfgEnable", "SELECT AutoConfigFunc FROM DevFunc WHERE [ALMac]='%s';", true},
      {"X_Halvo_L2Device_ControllableMask", "SELECT ControllableMask FROM DevFunc WHERE [ALMac]='%s';", true},
      {"X_Halvo_WiFiLinkRate_24G", "SELECT WiFiLinkRate_24G FROM DevFunc WHERE [ALMac]='%s';", true},
      {"X_Halvo_WiFiLinkRate_5G", "SELECT WiFiLinkRate_5G FROM DevFunc WHERE [ALMac]='%s';", true},
      {"X_Halvo_WIFI_Auto_Cfg_Approve", "SELECT Authorized FROM DevFunc WHERE [ALMac]='%s';", false},
      {"X_Halvo_NewDeviceFlag", "SELECT NewDeviceChecked FROM DevFunc WHERE [ALMac]='%s';", false},
      {"X_Halvo_DeviceMode", "SELECT Devicemode FROM DevFunc WHERE [ALMac]='%s';", false},
  };
  for (const Lookup& lookup : kLookups) {
    if (name != lookup.member) continue;
    if (lookup.needs_extender && almac == nullptr)
      text = "0";
    else
      probe_db_lookup(lookup.statement, mac, text);  // no row: the text as on entry
    return 0;
  }
  const bool power = name == "X_Halvo_WiFiStatus";
  if (power || name == "X_Halvo_WiFiSyncStatus") {
    unsigned char answer = 0;
    std::string band24, band5;
    if (almac != nullptr &&
        probe_db_lookup2(power ? "SELECT PwrState_24G,PwrState_5G FROM DevFunc WHERE [ALMac]='%s';"
                               : "SELECT AutoConfig_24G,AutoConfig_5G FROM DevFunc WHERE [ALMac]='%s';",
                         mac, band24, band5)) {
      if (!power)
        answer = band24 == "1" || band5 == "1";
      else if (band24 == "On" || band24 == "Off")
        answer = band24 == "On";
      else
        answer = band5 == "On";
    }
    text = std::to_string(answer);
  }
  return 0;
}

int wifi_host_param_handler(std::string_view name, std::string_view, ParseContext& context) {
  if (context.is_set()) return 0;
  const HostRow host = innermost_host(context);
  const char* connection = host.cell(kConnType);
  if (connection == nullptr || std::strstr(connection, "WiFi") == nullptr) return 0;
  int column = name == "X_Halvo_RSSI"         ? kRssi
               : name == "X_Halvo_Conn_Guest" ? kGuest
               : name == "SignalStrength"     ? kSignal
               : name == "X_Halvo_Band"       ? kBand
                                              : -1;
  if (column >= 0) copy_cell(host.cell(column), "0", context.text);
  return 0;
}

void cpu_usage_from(std::string_view line, std::string& text) {
  line = line.substr(0, 63);
  if (line.empty() || line[0] != 'c') return;
  const std::string copy(line);
  unsigned long long v[8] = {};
  int count = std::sscanf(copy.c_str(), "cpu %llu %llu %llu %llu %llu %llu %llu %llu", &v[0], &v[1],
                          &v[2], &v[3], &v[4], &v[5], &v[6], &v[7]);
  if (count < 4) return;  // too short a line to tell: the value stays as on entry
  const unsigned long long total = v[0] + v[1] + v[2] + v[3];
  text = std::to_string(total == 0 ? 0 : (total - v[3]) * 100 / total);
}

int host_snapshot_mac(std::string& out, const ParseContext& context) {
  const HostRow host = host_row(context.instance[0] + 1);
  const char* mac = host.cell(host.is(kDevType, "L2Device") ? kAlMac : kDevMac);
  if (mac == nullptr) return log_status(kActionFailed, "the host has no MAC address in this session's snapshot");
  out = mac;
  return 0;
}

}  // namespace pemo
