// Wi-Fi configuration and the other UCI-backed values.
#pragma once

#include "contract/context.h"

namespace pemo {

// The handler of the UCI-backed nodes: Wi-Fi settings, the configuration
// password, parental rule values, radio values and the gateway identity values.
[[nodiscard]] int uci_param_handler(std::string_view name, std::string_view value, ParseContext& context);
// The argument texts uci_param_handler serves, one row each ("": no argument).
inline constexpr std::string_view kUciArguments[] = {
    "uci.wifi.custom", "parental.custom.custom", "WIFI_CHANNEL", "GET_AUTOCHANNEL_SELECT", "GET_TXPOWER",
    "system.main.pwd", "",
};

// Reads of the Wi-Fi members ("uci.wifi.custom"); the result text into the context.
[[nodiscard]] int wifi_parameter_get(std::string_view name, std::string_view value, ParseContext& context);
// Writes of the Wi-Fi members, with a value already cut at quotes where it must be.
[[nodiscard]] int wifi_parameter_set(std::string_view name, std::string_view value, ParseContext& context);

// Security mode codes of a wifi-iface's `encryption` option.
inline constexpr int kSecurityNone = 0x40;
inline constexpr int kSecurityWep = 0x80;
inline constexpr int kSecurityWpaPsk = 0x100;
inline constexpr int kSecurityWpa2Psk = 0x200;
inline constexpr int kSecurityWpa = 0x400;
inline constexpr int kSecurityWpa2 = 0x800;
[[nodiscard]] int security_mode_code(std::string_view encryption);

}  // namespace pemo
