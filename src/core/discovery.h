// UDP discovery: the phone application finds the gateway and learns its identity.
#pragma once

#include <json-c/json.h>

#include <string>
#include <string_view>

#include "wire/frame.h"

namespace pemo {

// Thread body: serves discovery datagrams on UDP port 263 until the process ends
// (exits the process with status 1 when the socket cannot be bound).
void app_discover_main();

// Answers one discovery request. The reply text goes into `reply`; the result is
// its length, or -2, -3, -4 (or another negative walk result).
int doDevDiscoverReq(std::string_view payload, std::string& reply);

struct DeviceIdentity {
  std::string system_name;       // at most 127 characters
  std::string model_name;        // at most 15
  std::string serial_number;     // at most 15
  std::string software_version;  // at most 31
  std::string device_mode;       // "Router" or "AP"
  int wifi_config_flag = 0;
  int user_config_flag = 0;
  int gateway_ap_autoconfig = 0;
  int login_flag = 0;
};

// Fills the identity. The result of the last UCI read: negative when the mode or
// the quick-setup option cannot be read (the fields after it stay zero).
[[nodiscard]] int deviceInfoGet(DeviceIdentity& identity);

// Replaces the value of the first member called `name` (depth-first) with a new
// value of the same JSON type: `number` for integers and booleans, `text` for
// strings. 0, or -1 when absent or of another type.
[[nodiscard]] int json_member_set(json_object* object, std::string_view name, std::string_view text, int number);

// The status of a discovery header: every test is made and the last failing one
// wins (type -10, then length outside 1..4096 -9, then version -8); 0 when none.
[[nodiscard]] int discovery_header_status(const FrameHeader& header);

struct Manufacturing {
  std::string software_version, model, serial;
};
// The "Key: value" lines that "sys mfsh" prints: "LD", "Model" and "Serial" keys,
// reading ending at the serial number.
Manufacturing parse_manufacturing(std::string_view text);

}  // namespace pemo
