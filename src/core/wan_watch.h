// WAN connectivity watcher: probes the WAN while connections are open.
#pragma once

namespace pemo {

// Starts the watcher thread at start-up.
void wan_chk_init();
// Called by the connection that makes active_connections 1, before its first exchange.
void wan_first_connection();

}  // namespace pemo
