#include "diag/probes.h"

#include <cstdio>

#include "diag/wan_state.h"
#include "platform/files.h"
#include "platform/shell.h"

namespace pemo {

std::optional<int> ping_received(std::string_view output) {
  for (const std::string& line : text_lines(output, 127)) {
    if (line.find("transmitted") == std::string::npos) continue;
    int received = 0;
    if (std::sscanf(line.c_str(), "%*d %*s %*s %d", &received) != 1) received = 0;
    return received;
  }
  return std::nullopt;
}

std::optional<int> port_speed(std::string_view line) {
  const std::string first(line.substr(0, std::min(line.find('\n'), std::size_t{63})));
  if (first.find("off-link") != std::string::npos) return 0;
  int speed = 0;
  if (std::sscanf(first.c_str(), "Port 4: %dM", &speed) == 1) return speed;
  return std::nullopt;
}

void wan_ping_probe() {
  shell_run(std::string("ping -c 6 ") + kWanProbeAddress + " > /tmp/ping.wan 2>&1");
  std::string output;
  if (!read_text_file("/tmp/ping.wan", output)) return;
  const std::optional<int> received = ping_received(output);
  wan_ping_ok = received.has_value() && *received >= 1 ? 1 : 0;
}

void wan_port_speed_probe() {
  ShellResult r = shell_capture("sys portspeed 4 2>/dev/null", 256);
  if (r.status < 0 && r.output.empty()) return;
  if (std::optional<int> speed = port_speed(r.output)) wan_port_speed = *speed;
}

std::vector<TraceHop> parse_traceroute(std::string_view output) {
  std::vector<TraceHop> hops;
  TraceHop hop;  // a line that does not scan keeps the fields of the hop before
  for (const std::string& line : text_lines(output, 255)) {
    if (line.find("traceroute") != std::string::npos) continue;
    if (line.find('*') != std::string::npos) {
      hop = {"*", "*", "*"};
    } else {
      char host[64] = "", address[32] = "", time[16] = "";
      if (std::sscanf(line.c_str(), "%*d %63s (%31[^)])  %15s ms", host, address, time) == 3)
        hop = {host, address, time};
    }
    hops.push_back(hop);
  }
  return hops;
}

std::vector<Route> parse_routes(std::string_view output) {
  std::vector<Route> routes;
  for (const std::string& line : text_lines(output, 127)) {
    if (line.find("Kernel") != std::string::npos || line.find("Genmask") != std::string::npos) continue;
    char destination[24] = "", gateway[24] = "", mask[24] = "", interface[16] = "";
    std::sscanf(line.c_str(), "%23s %23s %23s %*s %*s %*s %*s %15s", destination, gateway, mask, interface);
    Route route{destination, gateway, mask, interface};
    if (route.gateway.find('*') != std::string::npos) route.gateway.clear();
    routes.push_back(std::move(route));
  }
  return routes;
}

WanAddresses parse_wan_info(std::string_view text) {
  WanAddresses found;
  for (const std::string& line : text_lines(text, 127)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string value(first_word(std::string_view(line).substr(colon + 1)));
    if (line.find("ip") != std::string::npos)
      found.ip = value.substr(0, 23);
    else if (line.find("mac") != std::string::npos)
      found.mac = value.substr(0, 17);
  }
  return found;
}

}  // namespace pemo
