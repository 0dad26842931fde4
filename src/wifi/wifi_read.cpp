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
  std::string& text = context.text;
  if (name == "CheckFreqBand") {
    set_pending_get_band(value);
    text.assign(value.substr(0, kMaxText));
  }
  const std::string band_text = pending_get_band();
  const int code = wifi_security_mode_read(context, band_text);
  if (code < 0) return code;
  const bool guest = (context.flags & kFlagGuestAp) != 0;
  WifiBand band = BAND_24G;

  if (name == "ModeEnabled") {
    // WEP, WPA and WPA2 are named as such; an unrecognised mode reads as empty.
    switch (code) {
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
  if (name == "PreShareKey") {
    if (!is_psk(code)) {
      text.clear();
      return 0;
    }
    if (guest) return wifi_psk_read(BAND_24G, true, text);
    int rc = 0;
    if (band_of(band_text, band))
      rc = wifi_psk_read(band, false, text);
    else
      text.clear();  // a band text that names no radio reads as empty
    set_pending_get_band("");
    return rc;
  }
  if (name == "Enable" || name == "SSID") {
    auto read = name == "Enable" ? wifi_enable_read : wifi_ssid_read;
    if (guest) return read(BAND_24G, true, text);
    int rc = 0;
    if (band_of(band_text, band))
      rc = read(band, false, text);
    else
      text.clear();
    set_pending_get_band("");
    return rc;
  }
  if (name == "Hours") {
    const GuestTime remaining = guest_timer_remaining_read();
    set_guest_remaining(remaining);
    text = std::to_string(remaining.hours);
    return 0;
  }
  if (name == "Minutes") {
    text = std::to_string(guest_remaining().minutes);
    return 0;
  }
  if (name == "SSIDDefault" || name == "PreShareKeyDefault") {
    text = band_of(band_text, band) ? "unknow" : "";
    set_pending_get_band("");
    return 0;
  }
  return 0;
}

}  // namespace pemo
