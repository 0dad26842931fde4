// WPS: start a push-button session and follow it; mark WPS as configured.
#pragma once

#include <string>
#include <string_view>

#include "contract/band.h"

namespace pemo {

// Starts WPS for "1" (2.4 GHz), "2" (5 GHz) or "3" (hardware button); anything
// else does nothing. Always 0. Blocks while the platform tool runs.
[[nodiscard]] int wps_start(std::string_view value);
// "0" idle, "1" started, "2" success, "3" push-button overlap, "4" time-out.
std::string wps_status();
// Sets wps.wps.conf (2.4 GHz) and/or wps5G.wps.conf (5 GHz) to "1". The result of
// the last set, 0 when none ran.
[[nodiscard]] int wps_conf_mark(WifiBand band);

}  // namespace pemo
