// Host, extender and miscellaneous values.
#pragma once

#include <string>

#include "contract/context.h"

namespace pemo {

[[nodiscard]] int host_param_handler(std::string_view name, std::string_view value, ParseContext& context);
[[nodiscard]] int l2device_param_handler(std::string_view name, std::string_view value, ParseContext& context);
[[nodiscard]] int wifi_host_param_handler(std::string_view name, std::string_view value, ParseContext& context);
// MAC of the host at the context's first instance in the connection's snapshot
// (the AL MAC for an extender). 0, or -26 when the host has none.
[[nodiscard]] int host_snapshot_mac(std::string& out, const ParseContext& context);

// Busy share of the CPU since boot from the first line of /proc/stat: user, nice
// and system over those plus idle, in percent. Nothing written for a line of fewer
// than four numbers.
void cpu_usage_from(std::string_view line, std::string& text);

// The speed-test tool's result word "download,upload,end"; what does not scan
// keeps 0, 0 and 1.
struct SpeedTestResult {
  float download = 0;
  float upload = 0;
  unsigned char end_flag = 1;
};
SpeedTestResult parse_speed_test(std::string_view text);

[[nodiscard]] int misc_param_handler(std::string_view name, std::string_view value, ParseContext& context);
// The argument texts misc_param_handler serves, one row each.
inline constexpr std::string_view kMiscArguments[] = {
    "0", "GET_SECURITY_MODES", "GET_MAGIC_NUM", "GET_APP_VER", "GET_PARENTAL_NOE", "SpeedTest_URL",
    "SpeedTest_Type", "SpeedTestEnd", "UploadSpeed", "DownloadSpeed", "ServerPort", "Enable",
    "AP_ENTRY_NUM", "TOTAL_ASSOCIATION", "ASSOCIATE_DEVICE_MAC", "GET_SUPPORT_TXPOWER",
    "GET_SUPPORT_AUTOCHANNEL", "GET_SSID_NUMBER",
};

}  // namespace pemo
