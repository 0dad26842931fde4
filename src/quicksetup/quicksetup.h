// Quick setup: first-run WAN and connection status values.
#pragma once

#include "contract/context.h"

namespace pemo {

[[nodiscard]] int quick_setup_param_handler(std::string_view name, std::string_view value, ParseContext& context);

// Records that quick setup changed the WAN (and the protocol before the change).
void wan_change_prepare();
[[nodiscard]] int wan_dhcp_write();
[[nodiscard]] int wan_static_write(std::string_view name, std::string_view value);
[[nodiscard]] int wan_pppoe_write(std::string_view name, std::string_view value);
[[nodiscard]] int wan_pptp_write(std::string_view name, std::string_view value);

// Puts changed WAN settings into effect (IPv4 only) and applies `network`.
// Result: that of the apply.
[[nodiscard]] int wan_apply();

}  // namespace pemo
