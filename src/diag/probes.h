// The WAN probes and the readers of the platform tools' output they rely on.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pemo {

// A well-known public resolver, pinged to tell whether the Internet answers.
inline constexpr const char* kWanProbeAddress = "8.8.8.8";

// Six pings; sets wan_ping_ok from the statistics line.
void wan_ping_probe();
// The port-speed query of WAN port 4; sets wan_port_speed.
void wan_port_speed_probe();

// The received count of ping output's statistics line; nullopt without one.
std::optional<int> ping_received(std::string_view output);
// The speed of "Port 4: %dM"; 0 for an "off-link" line; nullopt for anything else.
std::optional<int> port_speed(std::string_view line);

struct TraceHop {
  std::string host, address, time;
};
// Hops of traceroute output: the heading line skipped, "*" lines as "*" hops, a
// line that does not scan repeating the hop before it.
std::vector<TraceHop> parse_traceroute(std::string_view output);

struct Route {
  std::string destination, gateway, mask, interface;
};
// Routes of `route` output, heading lines skipped; a "*" gateway is empty.
std::vector<Route> parse_routes(std::string_view output);

struct WanAddresses {
  std::string ip, mac;
};
// The IP (the last "ip" line) and MAC (the first "mac" line) of /tmp/wan_info.
WanAddresses parse_wan_info(std::string_view text);

}  // namespace pemo
