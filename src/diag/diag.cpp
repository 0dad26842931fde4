// Diagnostics dispatch: traceroute, routing table, WAN information, and the
// extender control nodes, by the bound node's parent and the request mode.
#include "diag/diag.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "contract/connection.h"
#include "diag/probes.h"
#include "diag/wan_state.h"
#include "firmware/firmware.h"
#include "platform/files.h"
#include "platform/json.h"
#include "platform/shell.h"
#include "platform/lifetime.h"
#include "contract/nodes.h"
#include "wire/status.h"
#include "platform/log.h"

namespace pemo {
namespace {


// The tool's own worst case is 30 hops x 1 probe x a 5 s wait (150 s), to which
// looking up the hops' names adds; a run still going after twice that is cut, and
// a cut run fails the request: fewer hops are never answered as complete.
constexpr std::chrono::seconds kTracerouteBound{300};

// Every traceroute writes /tmp/tracert: one at a time, from run to read.
std::mutex& trace_file_lock() { return process_lifetime<std::mutex, struct TraceFileTag>(); }

// What a connection keeps of its diagnostics between requests.
struct DiagSession {
  JsonPtr trace_results;   // traceroute hops
  JsonPtr route_results;   // routing table
  std::string trace_host;  // at most 31 characters
};

// The calling connection's diagnostics, or nullptr (with a message) outside one.
DiagSession* own_diag(const char* caller) {
  ConnectionRecord* record = own_connection_record();
  if (record == nullptr) {
    std::printf("%s : var is NULL\n", caller);
    return nullptr;
  }
  return &record->diag.get<DiagSession>();
}

// The hop count, or kActionFailed when the tool was cut at its bound.
int do_traceroute(DiagSession& record) {
  std::string output;
  bool have_output;
  {
    std::lock_guard lock(trace_file_lock());
    // The host is one quoted argument: no character of it reaches the shell.
    const int status = shell_run("traceroute -q 1 " + shell_quote(record.trace_host) + " > /tmp/tracert",
                                 kTracerouteBound);
    if (status < 0) return log_status(kActionFailed, "traceroute was cut at its bound");
    have_output = read_text_file("/tmp/tracert", output);
  }
  if (!have_output) return 0;
  record.trace_results.reset(json_object_new_array());
  const std::vector<TraceHop> hops = parse_traceroute(output);
  for (const TraceHop& hop : hops) {
    json_object* entry = json_object_new_object();
    json_object_object_add(entry, "Host", json_object_new_string(hop.host.c_str()));
    json_object_object_add(entry, "HostAddress", json_object_new_string(hop.address.c_str()));
    json_object_object_add(entry, "RTTimes", json_object_new_string(hop.time.c_str()));
    json_object_array_add(record.trace_results.get(), entry);
  }
  return static_cast<int>(hops.size());
}

// The nodes below take the handler's arguments, so that its table names them directly.

int ip_traceroute(std::string_view name, std::string_view value, ParseContext& context) {
  std::string& text = context.text;
  DiagSession* record = own_diag("ip_traceroute");
  if (record == nullptr) return 0;
  // NumberOfTries, Timeout and MaxHopCount are accepted and not used: the run
  // always sends one probe per hop with the tool's own limits.
  if (name == "DiagnosticsState") {
    if (value == "Requested") {
      record->trace_results.reset();
      text = "Complete";
    }
  } else if (name == "Host") {
    record->trace_host.assign(value.substr(0, 31));
  } else if (name == "RouteHopsNumberOfEntries") {
    const int hops = do_traceroute(*record);
    if (hops < 0) return hops;
    text = std::to_string(hops);
  }
  return 0;
}

// A string member of element `index` of a per-connection list, when there is one.
void list_member(const JsonPtr& list, int index, std::string_view name, std::string& text) {
  if (!list || index < 0 || static_cast<std::size_t>(index) >= json_object_array_length(list.get())) return;
  json_object* element = json_object_array_get_idx(list.get(), static_cast<std::size_t>(index));
  if (const auto member = json_text(json_member(element, std::string(name).c_str()))) text = *member;
}

int traceroute_get(std::string_view name, std::string_view, ParseContext& context) {
  DiagSession* record = own_diag("traceroute_get");
  if (record != nullptr) list_member(record->trace_results, context.innermost_instance() - 1, name, context.text);
  return 0;
}

int route_table(std::string_view name, std::string_view, ParseContext& context) {
  std::string& text = context.text;
  if (name != "IPv4ForwardingNumberOfEntries") return 0;
  DiagSession* record = own_diag("route_table");
  if (record == nullptr) return 0;
  record->route_results.reset();
  ShellResult r = shell_capture("route");
  if (r.status < 0 && r.output.empty()) {
    text = "0";
    return 0;
  }
  record->route_results.reset(json_object_new_array());
  const std::vector<Route> routes = parse_routes(r.output);
  for (const Route& route : routes) {
    json_object* entry = json_object_new_object();
    json_object_object_add(entry, "DestIPAddress", json_object_new_string(route.destination.c_str()));
    json_object_object_add(entry, "GatewayIPAddress", json_object_new_string(route.gateway.c_str()));
    json_object_object_add(entry, "DestSubnetMask", json_object_new_string(route.mask.c_str()));
    json_object_object_add(entry, "X_Halvo_Interface", json_object_new_string(route.interface.c_str()));
    json_object_array_add(record->route_results.get(), entry);
  }
  text = std::to_string(routes.size());
  return 0;
}

int ipv4_fwd_get(std::string_view name, std::string_view, ParseContext& context) {
  DiagSession* record = own_diag("ipv4_fwd_get");
  if (record != nullptr) list_member(record->route_results, context.innermost_instance() - 1, name, context.text);
  return 0;
}

// The WAN record, refreshed only by WanStatus; refresh and reads are serialised.
struct WanInfoRecord {
  std::mutex mutex;
  std::string ip, status, mac;
  int phy_rate = 0, rx_rate = 0, tx_rate = 0;
  std::string first_mac;  // the first WAN MAC ever read, kept for the process
};

WanInfoRecord& wan_record() { return process_lifetime<WanInfoRecord>(); }

void wan_refresh(WanInfoRecord& record) {
  record.ip.clear();
  record.mac.clear();
  record.rx_rate = record.tx_rate = 0;
  record.phy_rate = wan_port_speed.load();
  std::string text;
  if (read_text_file("/tmp/wan_info", text)) {
    const WanAddresses addresses = parse_wan_info(text);
    record.ip = addresses.ip;
    if (!addresses.mac.empty() && record.first_mac.empty()) record.first_mac = addresses.mac;
    if (!addresses.mac.empty()) record.mac = record.first_mac;
  }
  record.status = record.phy_rate == 0 ? "LinkDown" : wan_ping_ok.load() != 0 ? "Enable" : "Disable";
  std::string rates;
  if (read_text_file("/tmp/bwm_result", rates, 8) && rates.size() == 8) {
    std::array<std::int32_t, 2> values;
    std::memcpy(values.data(), rates.data(), sizeof values);  // native byte order
    record.rx_rate = values[0];
    record.tx_rate = values[1];
  }
}

int wan_information(std::string_view name, std::string_view, ParseContext& context) {
  std::string& text = context.text;
  WanInfoRecord& record = wan_record();
  std::lock_guard lock(record.mutex);
  if (name == "WanStatus") {
    wan_refresh(record);
    text = record.status;
  } else if (name == "Wan_IPAddress") {
    text = record.ip;
  } else if (name == "Wan_Mac") {
    text = record.mac;
  } else if (name == "Wan_PhyRate") {
    text = std::to_string(record.phy_rate);
  } else if (name == "Wan_RX_Rate") {
    record.rx_rate = std::max(record.rx_rate, 0);
    text = std::to_string(record.rx_rate);
  } else if (name == "Wan_TX_Rate") {
    record.tx_rate = std::max(record.tx_rate, 0);
    text = std::to_string(record.tx_rate);
  }
  return 0;
}

}  // namespace

int diag_param_handler(std::string_view name, std::string_view value, ParseContext& context) {
  using Serve = int (*)(std::string_view name, std::string_view value, ParseContext& context);
  // The objects this handler serves, by node name; a missing direction does nothing.
  struct DiagRow {
    int parent;
    Serve get, set;
  };
  static constexpr DiagRow kRows[] = {
      {node::kExtenderFwCfg,
       [](std::string_view n, std::string_view v, ParseContext& c) { return l2devCtrl_FWcfg_func_get(n, c.text, v); },
       [](std::string_view n, std::string_view v, ParseContext&) { return l2devCtrl_FWcfg_func_set(n, v); }},
      {node::kTraceRoute, nullptr, ip_traceroute},
      {node::kExtenderAutoCfg, nullptr,
       [](std::string_view n, std::string_view v, ParseContext&) { return l2devCtrl_auto_config_func_set(n, v); }},
      {node::kRouteHop, traceroute_get, nullptr},
      {node::kRouter, route_table, nullptr},
      {node::kForwarding, ipv4_fwd_get, nullptr},
      {node::kWanInfo, wan_information, nullptr},
  };
  for (const DiagRow& row : kRows) {
    if (row.parent != context.node_parent) continue;
    const Serve serve = context.is_set() ? row.set : row.get;
    return serve != nullptr ? serve(name, value, context) : 0;
  }
  return 0;
}

}  // namespace pemo
