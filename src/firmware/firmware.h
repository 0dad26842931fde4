// Gateway firmware update, and the extender firmware list and control.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "firmware/fw_flags.h"
#include "contract/context.h"

namespace pemo {

[[nodiscard]] int fw_param_handler(std::string_view name, std::string_view value, ParseContext& context);
// The argument texts fw_param_handler serves, one row each.
inline constexpr std::string_view kFirmwareArguments[] = {
    "GET_SOFT_VER",     "CHECK_SOFT_VER",     "HAS_NEW_SOFT",    "NEW_FW_DATE",        "FW_UPGRADE_STATUS",
    "GET_NEW_SOFT_VER", "GET_LATESTSOFT_VER", "UPDATE_SOFT_VER", "UPDATE_SOFT_STATUS",
};
[[nodiscard]] int fw_list_param_handler(std::string_view name, std::string_view value, ParseContext& context);

// Online firmware information: 1 when the online version differs from the running
// one (its text into `version`), 0 when equal, -23 when the query or its file
// failed, -18 when the running version is unknown.
[[nodiscard]] int get_online_info(bool query, std::string& version);

// The value after the colon of the first line holding `label` ("FW version",
// "Release date" of /tmp/hvfw_info); empty when none.
std::string firmware_info_value(const std::string& text, std::string_view label);

// Starts the upgrade worker. 0; -26 when it cannot start, or when one already
// runs (two must never flash at once).
[[nodiscard]] int fw_upgrade_start();
// The upgrade state number ("1" when no upgrade ran since start-up).
[[nodiscard]] int fw_state_read(std::string& text);

// Extender control nodes, reached through the diagnostics handler.
[[nodiscard]] int l2devCtrl_auto_config_func_set(std::string_view name, std::string_view value);
[[nodiscard]] int l2devCtrl_FWcfg_func_set(std::string_view name, std::string_view value);
[[nodiscard]] int l2devCtrl_FWcfg_func_get(std::string_view name, std::string& text, std::string_view value);

}  // namespace pemo
