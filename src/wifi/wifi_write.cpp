// Writes of the main and guest Wi-Fi networks. They take effect together when
// the request layer applies `wireless` after the request.
#include <chrono>
#include <cstdlib>
#include <string>

#include "control/wps.h"
#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "wire/status.h"
#include "contract/band.h"
#include "wifi/memory.h"
#include "wifi/wifi.h"
#include "platform/log.h"

namespace pemo {
namespace {

constexpr std::size_t kMaxValue = 127;
constexpr std::string_view kSpeedSuffix = ".speed";

[[nodiscard]] int set_iface(int iface, const char* option, std::string_view value) {
  return cfg_set("wireless.@wifi-iface[" + std::to_string(iface) + "]." + option, value);
}

[[nodiscard]] int set_device(int device, std::string_view value) {
  return cfg_set("wireless.@wifi-device[" + std::to_string(device) + "].disabled", value);
}

// The bands a write covers, 2.4 GHz first.
struct Rows {
  WifiBand first;
  WifiBand last;
};
Rows rows(WifiBand band) { return band == BAND_BOTH ? Rows{BAND_24G, BAND_5G} : Rows{band, band}; }

void wifi_apply_mark(std::string_view interface) {
  const std::string line = std::string(interface) + "\n";
  const bool five = interface == "ath10" || interface == "ath13";
  // The values are stored already; a mark that cannot be written leaves this radio
  // for the platform's next apply.
  static_cast<void>(write_text_file(five ? "/tmp/wifi5G_Apply" : "/tmp/wifi24G_Apply", line));
  if (interface == "ath10") static_cast<void>(write_text_file("/tmp/wifi5G_macfilter_Apply", line));
}

int wifi_ssid_write(WifiBand band, bool guest, std::string_view ssid) {
  int rc = 0;
  for (int b = rows(band).first; b <= rows(band).last; ++b) {
    const WifiInterface& row = wifi_interface(static_cast<WifiBand>(b), guest);
    std::string name(ssid);
    if (band == BAND_BOTH && b == BAND_5G) name += kSpeedSuffix;  // "MyNet" and "MyNet.speed"
    rc = set_iface(row.iface, "ssid", name);
    wifi_apply_mark(row.name);
  }
  return rc;
}

int wifi_psk_write(WifiBand band, bool guest, std::string_view key) {
  int rc = 0;
  for (int b = rows(band).first; b <= rows(band).last; ++b) {
    const int iface = wifi_iface_index(static_cast<WifiBand>(b), guest);
    // The protocol answers the last set's result; all go to `wireless` alike.
    static_cast<void>(set_iface(iface, "auth", "WPA2PSK"));
    static_cast<void>(set_iface(iface, "encryption", "WPA2PSK"));
    rc = set_iface(iface, "WPAPSKkey", key);
  }
  return rc;
}

int wifi_security_write(WifiBand band, bool guest, std::string_view mode) {
  int rc = 0;
  for (int b = rows(band).first; b <= rows(band).last; ++b) {
    const int iface = wifi_iface_index(static_cast<WifiBand>(b), guest);
    static_cast<void>(set_iface(iface, "encryption", mode));  // the last set's result answers
    rc = set_iface(iface, "auth", mode);
  }
  return rc;
}

int guest_ap_enable_write(bool on, const WifiInterface& main, const WifiInterface& guest) {
  if (!on) {
    static_cast<void>(set_iface(guest.iface, "disabled", "1"));  // the last set's result answers
    int rc = set_iface(guest.iface, "enable_guest_wlan", "0");
    wifi_apply_mark(guest.name);
    return rc;
  }
  // A guest network needs its radio and the radio's main network up.
  const bool radio_off =
      cfg_value("wireless.@wifi-device[" + std::to_string(main.device) + "].disabled") == "1" ||
      cfg_value("wireless.@wifi-iface[" + std::to_string(main.iface) + "].disabled") == "1";
  // The protocol answers the last set's result; all go to `wireless` alike.
  if (radio_off) {
    static_cast<void>(set_device(main.device, "0"));
    static_cast<void>(set_iface(main.iface, "disabled", "0"));
    wifi_apply_mark(main.name);
  } else {
    wifi_apply_mark(guest.name);
  }
  static_cast<void>(set_iface(guest.iface, "disabled", "0"));
  return set_iface(guest.iface, "enable_guest_wlan", "1");
}

int wifi_enable_write(WifiBand band, bool guest, std::string_view value) {
  int rc = 0;
  for (int b = rows(band).first; b <= rows(band).last; ++b) {
    const auto radio = static_cast<WifiBand>(b);
    if (guest)
      rc = guest_ap_enable_write(value == "1", wifi_interface(radio, false), wifi_interface(radio, true));
    else
      rc = set_iface(wifi_iface_index(radio, false), "disabled", value == "1" ? "0" : "1");
  }
  return rc;
}

// The timer scripts edit one rule and return; a run past this bound hangs.
constexpr std::chrono::seconds kGuestTimerBound{30};

// Runs a timer script for the 2.4 GHz radio, then the 5 GHz one: whether both
// ended by themselves.
bool run_for_both_radios(const std::string& script, const std::string& after = "") {
  const bool first = ran_to_end(shell_run(script + " 24G" + after, kGuestTimerBound));
  return ran_to_end(shell_run(script + " 5G" + after, kGuestTimerBound)) && first;
}

bool guest_timer_stop() { return run_for_both_radios("/bin/removeGuestWifiBonus.sh remove_rule 3"); }

bool guest_timer_start(GuestTime time) {
  return run_for_both_radios("/bin/addGuestWifiBonus.sh 3",
                             " " + std::to_string(time.hours) + ":" + std::to_string(time.minutes));
}

std::string_view translate_mode(std::string_view value) {
  if (value == "none") return "NONE";
  if (value == "WPAPSK" || value == "WPA-Personal") return "WPAPSK";
  if (value == "WPA2PSK" || value == "WPA2-Personal") return "WPA2PSK";
  return value;
}

// The band of a main-network write: empty both radios, "24G" or "5G" one; any
// other text no write.
bool write_band(const std::string& text, WifiBand& band) {
  if (text.empty()) band = BAND_BOTH;
  else if (text == "24G") band = BAND_24G;
  else if (text == "5G") band = BAND_5G;
  else return false;
  return true;
}

// What every member write starts from: the radios the band names (all of the
// guest network's when it is meant), and whether the band names any.
struct WifiWrite {
  bool guest;
  WifiBand band;
  bool has_band;
};

int psk_write(const WifiWrite& w, std::string_view value) {
  if (w.guest) return wifi_psk_write(BAND_BOTH, true, value);
  if (w.has_band) static_cast<void>(wifi_psk_write(w.band, false, value));  // the mark below reports
  set_pending_set_band("");
  return wps_conf_mark(w.has_band ? w.band : BAND_24G);
}

int mode_write(const WifiWrite& w, std::string_view value) {
  const std::string_view mode = translate_mode(value);
  if (w.guest) return wifi_security_write(BAND_BOTH, true, mode);
  return w.has_band ? wifi_security_write(w.band, false, mode) : 0;
}

int enable_write(const WifiWrite& w, std::string_view value) {
  int rc = 0;
  if (w.guest) {
    rc = wifi_enable_write(BAND_BOTH, true, value);
  } else {
    if (w.has_band) rc = wifi_enable_write(w.band, false, value);
    set_pending_set_band("");
  }
  if (value == "0" && !guest_timer_stop() && rc >= 0) return log_status(kActionFailed, "the guest timer did not stop");
  return rc;
}

int ssid_write(const WifiWrite& w, std::string_view value) {
  // The 5 GHz name of a both-radio SSID carries a suffix; a name with no room for
  // it is refused rather than cut.
  if (w.has_band && w.band == BAND_BOTH && value.size() + kSpeedSuffix.size() > kMaxValue) return kValueRefused;
  if (w.guest) return wifi_ssid_write(BAND_BOTH, true, value);
  if (w.has_band) static_cast<void>(wifi_ssid_write(w.band, false, value));  // the mark below reports
  set_pending_set_band("");
  return wps_conf_mark(w.has_band ? w.band : BAND_24G);
}

// Every member a Wi-Fi write serves, by name; any other changes nothing.
struct WifiWriteMember {
  std::string_view name;
  int (*write)(const WifiWrite& w, std::string_view value);
};
constexpr WifiWriteMember kWrites[] = {
    {"PreShareKey", psk_write},
    {"ModeEnabled", mode_write},
    {"Enable", enable_write},
    {"SSID", ssid_write},
    {"Hours",
     [](const WifiWrite&, std::string_view value) {
       set_guest_timer_hours(std::atoi(std::string(value).c_str()));
       return 0;
     }},
    {"Minutes",
     [](const WifiWrite&, std::string_view value) {
       const GuestTime timer = set_guest_timer_minutes(std::atoi(std::string(value).c_str()));
       const bool stopped = guest_timer_stop();
       const bool started = (timer.hours == 0 && timer.minutes == 0) || guest_timer_start(timer);
       return stopped && started ? 0 : log_status(kActionFailed, "the guest timer did not restart");
     }},
};

}  // namespace

int wifi_parameter_set(std::string_view name, std::string_view value, ParseContext& context) {
  if (value.size() > kMaxValue) return kValueRefused;
  if (name == "CheckFreqBand") {
    set_pending_set_band(value);
    return 0;
  }
  // The guest network's members need no band; the main network's take the pending one.
  const bool guest = (context.flags & kFlagGuestAp) != 0;
  WifiWrite write{guest, BAND_BOTH, guest};
  if (!guest) write.has_band = write_band(pending_set_band(), write.band);
  for (const WifiWriteMember& member : kWrites)
    if (member.name == name) return member.write(write, value);
  return 0;
}

}  // namespace pemo
