// Reads of the main and guest Wi-Fi networks.
#include <cstdio>
#include <string>

#include "platform/cfg.h"
#include "platform/files.h"
#include "platform/shell.h"
#include "contract/band.h"
#include "wifi/memory.h"
#include "wifi/wifi.h"

namespace pemo {
namespace {

std::string option_path(int iface, const char* option) {
  return "wireless.@wifi-iface[" + std::to_string(iface) + "]." + option;
}

// Option values are read whole up to the handler text's 127 characters, so a
// value the application wrote reads back as it was written.
int read_option(int iface, const char* option, std::string& out) {
  out = option_path(iface, option);
  int rc = cfg_get(out, kTextCapacity);
  if (rc < 0) out.clear();
  return rc;
}

int wifi_encryption_read(WifiBand band, bool guest) {
  std::string value;
  if (int rc = read_option(wifi_iface_index(band, guest), "encryption", value); rc < 0) return rc;
  return security_mode_code(value);
}

int wifi_security_mode_read(const ParseContext& context, const std::string& band) {
  return wifi_encryption_read(band == "5G" ? BAND_5G : BAND_24G, (context.flags & kFlagGuestAp) != 0);
}

int wifi_ssid_read(WifiBand band, bool guest, std::string& out) {
  int rc = read_option(wifi_iface_index(band, guest), "ssid", out);
  if (!guest && rc < 0) {
    std::string text;
    if (read_text_file(band == BAND_5G ? "/tmp/tmpSSID5G" : "/tmp/tmpSSID24G", text)) {
      rc = 0;
      out.assign(first_word(text).substr(0, kMaxText));
    }
  }
  return rc;
}

int wifi_psk_read(WifiBand band, bool guest, std::string& out) {
  std::string value;
  int rc = read_option(wifi_iface_index(band, guest), "WPAPSKkey", value);
  if (!guest && rc == kCfgNotFound) {
    std::string text;
    if (read_text_file("/tmp/tmppsk", text)) {
      value.assign(first_word(text).substr(0, kMaxText));
      rc = 0;
    }
  }
  if (rc == 0) out = value;
  return rc;
}

int wifi_enable_read(WifiBand band, bool guest, std::string& out) {
  std::string value;
  int rc = read_option(wifi_iface_index(band, guest), "disabled", value);
  out = value == "1" ? "0" : "1";
  return rc;
}

GuestTime guest_timer_remaining_read() {
  // A quick script; a run that did not end by itself leaves no remaining time.
  if (!ran_to_end(shell_run("/bin/getGuestWifiBonus.sh get_time_gui ath3 > /tmp/guest_wifi_bonus_remaining_time")))
    return {};
  // The word is read as an 11-character area holds it.
  std::string word(read_first_word("/tmp/guest_wifi_bonus_remaining_time").substr(0, 11));
  const long seconds = std::strtol(word.c_str(), nullptr, 10);
  const long minutes = seconds / 60;
  if (minutes == 0) return {};
  return {static_cast<int>(minutes / 60), static_cast<int>(minutes % 60)};
}

// The band a main-network member reads: empty or "24G" the 2.4 GHz radio, "5G"
// the 5 GHz one; any other text no radio.
bool band_of(const std::string& text, WifiBand& band) {
  if (text.empty() || text == "24G") {
    band = BAND_24G;
    return true;
  }
  if (text == "5G") {
    band = BAND_5G;
    return true;
  }
  return false;
}

bool is_psk(int code) { return code == kSecurityWpaPsk || code == kSecurityWpa2Psk; }

// What every member read starts from: the security mode of the radio read, the
// band text the last CheckFreqBand left, and whether the guest network is meant.
struct WifiRead {
  std::string band_text;
  int code;
  bool guest;
};

// The guest network's value, or the main network's on the radio the band names
// (empty when it names none), using the band up.
int per_radio(const WifiRead& r, int (*read)(WifiBand, bool, std::string&), std::string& text) {
  if (r.guest) return read(BAND_24G, true, text);
  WifiBand band = BAND_24G;
  int rc = 0;
  if (band_of(r.band_text, band))
    rc = read(band, false, text);
  else
    text.clear();
  set_pending_get_band("");
  return rc;
}

// WEP, WPA and WPA2 are named as such; an unrecognised mode reads as empty.
int mode_read(const WifiRead& r, std::string& text) {
  switch (r.code) {
    case kSecurityWpaPsk: text = "WPAPSK"; break;
    case kSecurityWpa2Psk: text = "WPA2PSK"; break;
    case kSecurityNone: text = "none"; break;
    case kSecurityWep: text = "WEP"; break;
    case kSecurityWpa: text = "WPA"; break;
    case kSecurityWpa2: text = "WPA2"; break;
    default: text.clear(); break;
  }
  set_pending_get_band("");
  return 0;
}

int default_read(const WifiRead& r, std::string& text) {
  WifiBand band = BAND_24G;
  text = band_of(r.band_text, band) ? "unknow" : "";
  set_pending_get_band("");
  return 0;
}

// Every member a Wi-Fi read serves, by name; any other reads nothing.
struct WifiReadMember {
  std::string_view name;
  int (*read)(const WifiRead& r, std::string& text);
};
constexpr WifiReadMember kReads[] = {
    {"ModeEnabled", mode_read},
    {"PreShareKey",
     [](const WifiRead& r, std::string& text) {
       if (is_psk(r.code)) return per_radio(r, wifi_psk_read, text);
       text.clear();
       return 0;
     }},
    {"Enable", [](const WifiRead& r, std::string& text) { return per_radio(r, wifi_enable_read, text); }},
    {"SSID", [](const WifiRead& r, std::string& text) { return per_radio(r, wifi_ssid_read, text); }},
    {"Hours",
     [](const WifiRead&, std::string& text) {
       const GuestTime remaining = guest_timer_remaining_read();
       set_guest_remaining(remaining);
       text = std::to_string(remaining.hours);
       return 0;
     }},
    {"Minutes",
     [](const WifiRead&, std::string& text) {
       text = std::to_string(guest_remaining().minutes);
       return 0;
     }},
    {"SSIDDefault", default_read},
    {"PreShareKeyDefault", default_read},
};

}  // namespace

int security_mode_code(std::string_view encryption) {
  if (encryption == "NONE") return kSecurityNone;
  if (encryption == "WPAPSK") return kSecurityWpaPsk;
  if (encryption == "WPA2PSK") return kSecurityWpa2Psk;
  if (encryption == "WPA") return kSecurityWpa;
  if (encryption == "WPA2") return kSecurityWpa2;
  if (encryption.find("wep") != std::string_view::npos) return kSecurityWep;
  return 0;
}

int wifi_parameter_get(std::string_view name, std::string_view value, ParseContext& context) {
  if (name == "CheckFreqBand") {
    set_pending_get_band(value);
    context.text.assign(value.substr(0, kMaxText));
  }
  WifiRead read{pending_get_band(), 0, (context.flags & kFlagGuestAp) != 0};
  read.code = wifi_security_mode_read(context, read.band_text);
  if (read.code < 0) return read.code;
  for (const WifiReadMember& member : kReads)
    if (member.name == name) return member.read(read, context.text);
  return 0;
}

}  // namespace pemo
