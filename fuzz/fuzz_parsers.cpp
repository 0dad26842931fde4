// The readers of platform output: the first byte picks one, the rest is its input.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/discovery.h"
#include "diag/probes.h"
#include "firmware/firmware.h"
#include "info/info.h"
#include "platform/files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace pemo;
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::string out;
  switch (data[0] % 9) {
    case 0: static_cast<void>(ping_received(text)); break;
    case 1: static_cast<void>(port_speed(text)); break;
    case 2: static_cast<void>(parse_traceroute(text)); break;
    case 3: static_cast<void>(parse_routes(text)); break;
    case 4: static_cast<void>(parse_wan_info(text)); break;
    case 5: static_cast<void>(firmware_info_value(std::string(text), "FW version")); break;
    case 6: static_cast<void>(parse_manufacturing(text)); break;
    case 7: cpu_usage_from(text, out); break;
    case 8: static_cast<void>(parse_speed_test(text)); break;
  }
  static_cast<void>(text_lines(text, 63));
  return 0;
}
