// What the WAN watcher measured last, read by the WAN information values.
#pragma once

#include <atomic>
#include <cstdint>

namespace pemo {

// Written by the WAN watcher (core/wan_watch.cpp) only; read by the WAN handlers.
// 1 when the last ping probe got at least one reply.
inline std::atomic<std::uint8_t> wan_ping_ok{0};
// Link speed of WAN port 4 in Mbit/s; 0 when the port has no link.
inline std::atomic<int> wan_port_speed{0};

}  // namespace pemo
