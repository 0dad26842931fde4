// Radios and the wifi-iface sections of the `wireless` package that serve them.
#pragma once

#include <string_view>

namespace pemo {

enum WifiBand : int { BAND_24G = 0, BAND_5G = 1, BAND_BOTH = 2 };

struct WifiInterface {
  int iface;           // position among the wifi-iface sections
  const char* name;    // interface name, as the apply markers name it
  int device;          // position of the radio's wifi-device section
};

// Main and guest network of each radio (BAND_24G, BAND_5G).
inline constexpr WifiInterface kMainInterface[2] = {{0, "ath0", 0}, {4, "ath10", 1}};
inline constexpr WifiInterface kGuestInterface[2] = {{3, "ath3", 0}, {7, "ath13", 1}};

inline const WifiInterface& wifi_interface(WifiBand band, bool guest) {
  return guest ? kGuestInterface[band == BAND_5G] : kMainInterface[band == BAND_5G];
}

// Position of the wifi-iface section of a radio's main or guest network.
inline int wifi_iface_index(WifiBand band, bool guest) { return wifi_interface(band, guest).iface; }

}  // namespace pemo
