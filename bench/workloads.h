// Request documents the benchmarks send, as the phone application does.
#pragma once

#include <string>

namespace pemo::bench {

inline const std::string kOneLeaf = R"({"Device":{"WiFi":{"SSID":{"i1":{"SSID":""}}}}})";

// Both networks on both radios: twenty leaves (each band-bound member with its own
// CheckFreqBand before it, as the application sends them).
inline const std::string kWifiRead =
    R"({"Device":{"WiFi":{"SSID":{"i1":{"CheckFreqBand":"24G","SSID":""},"i2":{"CheckFreqBand":"5G","SSID":""},)"
    R"("i3":{"CheckFreqBand":"24G","Enable":0},"i4":{"CheckFreqBand":"5G","Enable":0}},)"
    R"("AccessPoint":{"i1":{"Security":{"CheckFreqBand":"24G","PreShareKey":"","ModesSupported":""}},)"
    R"("i2":{"Security":{"CheckFreqBand":"24G","ModeEnabled":""}},)"
    R"("i5":{"Security":{"CheckFreqBand":"5G","PreShareKey":"","ModesSupported":""}},)"
    R"("i6":{"Security":{"CheckFreqBand":"5G","ModeEnabled":""}}},)"
    R"("X_Halvo_GuestAP":{"SSID":"","Enable":0,"PreShareKey":"","Security":{"ModeEnabled":""}},)"
    R"("RadioNumberOfEntries":0,"SSIDNumberOfEntries":0}}})";

// Host instances first..last with ten members each; with the count first when
// `count` (which takes the connection's snapshot).
inline std::string host_list(int first, int last, bool count) {
  std::string text = R"({"Device":{"Hosts":{)";
  if (count) text += R"("HostNumberOfEntries":0,)";
  text += R"("Host":{)";
  for (int k = first; k <= last; ++k) {
    if (k > first) text += ",";
    text += R"("i)" + std::to_string(k) +
            R"(":{"PhysAddress":"","HostName":"","IPAddress":"","X_Halvo_HostType":0,)"
            R"("X_Halvo_ConnectionType":"","X_Halvo_DeviceName":"","X_Halvo_PhyRate":0,)"
            R"("X_Halvo_DL_Rate":0,"X_Halvo_UL_Rate":0,"X_Halvo_Manufacturer":""})";
  }
  return text + "}}}}";
}

}  // namespace pemo::bench
