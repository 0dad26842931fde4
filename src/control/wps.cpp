#include "control/wps.h"

#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "wire/status.h"
#include "platform/log.h"

#include <chrono>

namespace pemo {
namespace {

// The tool returns when its push-button window closes, 120 s after the press;
// the margin covers a slow radio's start. Cut before that, it never handed over.
constexpr std::chrono::minutes kWpsToolBound{3};

}  // namespace

int wps_start(std::string_view value) {
  const char* mode = value == "1" ? "WPS24G_GUI" : value == "2" ? "WPS5G_GUI" : value == "3" ? "WPS_HW" : nullptr;
  if (mode == nullptr) return 0;
  // The marker goes before the tool runs and comes back after it returns, so
  // "started" means this program's last start has been handed to the tool.
  shell_fire("rm /tmp/pemo_agent_wps");
  if (!ran_to_end(shell_run(std::string("/bin/halvo_WPS_ctrl ") + mode, kWpsToolBound)))
    return log_status(kActionFailed, "the WPS tool did not end by itself");
  shell_fire("touch /tmp/pemo_agent_wps");
  return 0;
}

std::string wps_status() {
  // Later markers win: time-out, overlap, success, started, idle.
  static constexpr struct {
    const char* marker;
    const char* status;
  } kMarkers[] = {{"/tmp/wps_timeout", "4"}, {"/tmp/pbc_overlap", "3"}, {"/tmp/wps_success", "2"},
                  {"/tmp/pemo_agent_wps", "1"}};
  for (const auto& m : kMarkers)
    if (file_exists(m.marker)) return m.status;
  return "0";
}

int wps_conf_mark(WifiBand band) {
  switch (band) {
    case BAND_24G:
      return cfg_set("wps.wps.conf", "1");
    case BAND_5G:
      return cfg_set("wps5G.wps.conf", "1");
    case BAND_BOTH: {
      int rc = cfg_set("wps.wps.conf", "1");
      return rc < 0 ? rc : cfg_set("wps5G.wps.conf", "1");
    }
  }
  return 0;
}

}  // namespace pemo
