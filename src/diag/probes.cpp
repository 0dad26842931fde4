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
  // Six pings a second apart, then at most 10 s for the last reply: the default
  // bound is ample. A cut run has no statistics line and reads as no reply.
  shell_fire(std::string("ping -c 6 ") + kWanProbeAddress + " > /tmp/ping.wan 2>&1");
  std::string output;
  if (!read_text_file("/tmp/ping.wan", output)) return;
  const std::optional<int> received = ping_received(output);
  wan_ping_ok = received.has_value() && *received >= 1 ? 1 : 0;
}

void wan_port_speed_probe() {
  // A register read that answers at once (default bound); no answer keeps the speed.
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
      // Fields are scanned whole (a line holds at most 255 characters), then each
      // is cut to its width: a long name never makes the line fail to scan.
      char host[256] = "", address[256] = "", time[256] = "";
      if (std::sscanf(line.c_str(), "%*d %255s (%255[^)])  %255s ms", host, address, time) == 3)
        hop = {std::string(host).substr(0, 63), std::string(address).substr(0, 31), std::string(time).substr(0, 15)};
    }
    hops.push_back(hop);
  }
  return hops;
}

std::vector<Route> parse_routes(std::string_view output) {
  std::vector<Route> routes;
  for (const std::string& line : text_lines(output, 127)) {
    if (line.find("Kernel") != std::string::npos || line.find("Genmask") != std::string::npos) continue;
    // Fields are split whole (a line holds at most 127 characters), then cut to
    // their widths, so the tail of a long field never lands in the next one.
    char destination[128] = "", gateway[128] = "", mask[128] = "", interface[128] = "";
    // A short or blank line (a header, a wrapped tail) is no route.
    if (std::sscanf(line.c_str(), "%127s %127s %127s %*s %*s %*s %*s %127s", destination, gateway, mask, interface) != 4)
      continue;
    Route route{std::string(destination).substr(0, 23), std::string(gateway).substr(0, 23),
                std::string(mask).substr(0, 23), std::string(interface).substr(0, 15)};
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
    else if (line.find("mac") != std::string::npos && found.mac.empty())
      found.mac = value.substr(0, 17);  // the first one is the WAN's
  }
  return found;
}

}  // namespace pemo
