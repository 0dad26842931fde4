// The gateway's own identity, as discovery and the GatewayInfo values tell it.
#pragma once

#include <string>
#include <string_view>

namespace pemo {

inline constexpr const char* kFactoryPassword = "5927";
inline constexpr const char* kWifiSettingFlagFile = "/etc/pemo-agent/wifi_setting_flag";

// Sums AutoConfigFunc over the DevFunc rows of mode "Router" and leaves the last
// row's ALMac in `mac` (unchanged without rows). 1 when the sum is above 0.
[[nodiscard]] int gateway_autocfg_state(std::string& mac);
// Host name of the Device row with this ALMac. 1 when found; 0 for an empty MAC.
[[nodiscard]] int host_name_by_almac(std::string_view mac, std::string& out);
// Lookups that leave `out` untouched when they find nothing: the caller holds
// its default there.
// The gateway's host name from the probe database.
void gateway_name_get(std::string& out);
// The gateway's AL MAC.
void gateway_almac_get(std::string& out);
// "1" into `out` when auto-configuration is on.
void gateway_autocfg_get(std::string& out);
// 1 when the password differs from the factory default; 0 when it equals it or
// cannot be read.
[[nodiscard]] int login_flag_get();
// 1 when the Wi-Fi setting flag file exists.
[[nodiscard]] int wifi_setting_flag_get();
// "1": the platform script creates the flag; "0": the flag is removed. 0, or
// kActionFailed for any other text.
[[nodiscard]] int wifi_setting_flag_set(std::string_view text);

}  // namespace pemo
