// Names for the node indices that code outside the catalogue refers to. Each is
// checked at compile time against its catalogue row (member name and parent), so
// an edit to the catalogue cannot silently move a handler's node.
#pragma once

#include <array>

namespace pemo::node {

// Device
inline constexpr int kHosts = 3;                  // Device.Hosts
// Device.WiFi
inline constexpr int kSsidInstance = 22;          // Device.WiFi.SSID.{i}
inline constexpr int kRadioInstance = 23;         // Device.WiFi.Radio.{i}
inline constexpr int kRadioChannel = 25;          // Device.WiFi.Radio.{i}.Channel (the first, from UCI)
inline constexpr int kRadioEnable = 80;           // Device.WiFi.Radio.{i}.Enable
inline constexpr int kRadioStatus = 81;           // Device.WiFi.Radio.{i}.Status
inline constexpr int kRadioMaxBitRate = 82;       // Device.WiFi.Radio.{i}.MaxBitRate
inline constexpr int kRadioBand = 83;             // Device.WiFi.Radio.{i}.OperatingFrequencyBand
inline constexpr int kRadioStandards = 84;        // Device.WiFi.Radio.{i}.OperatingStandards
inline constexpr int kRadioActionChannel = 85;    // Device.WiFi.Radio.{i}.Channel (the second)
// Device.Hosts.Host.{i}
inline constexpr int kHostInstance = 35;          // Device.Hosts.Host.{i}
inline constexpr int kHostPhysAddress = 36;       // .PhysAddress
inline constexpr int kHostActive = 88;            // .Active
inline constexpr int kHostBlocking = 89;          // .X_Halvo_Blocking
inline constexpr int kHostParentalBlocking = 90;  // .X_Halvo_Parental_Blocking
inline constexpr int kHostAddPcpRule = 104;       // .X_Halvo_AddPcpRule
// Device.X_Halvo_Ext: commands (HostMAC of the named object, or the value itself)
inline constexpr int kBlockMac = 111;             // EndDevCtrl_Blocking.HostMAC
inline constexpr int kUnblockMac = 113;           // EndDevCtrl_UnBlocking.HostMAC
inline constexpr int kExtenderRebootMac = 115;    // L2DevCtrl_Reboot.HostMAC
inline constexpr int kExtenderWifiOnMac = 117;    // L2DevCtrl_WiFiON.HostMAC
inline constexpr int kExtenderWifiOffMac = 119;   // L2DevCtrl_WiFiOff.HostMAC
inline constexpr int kReboot = 120;               // Reboot
inline constexpr int kFactoryReset = 121;         // FactoryReset
inline constexpr int kAutoCfgControl = 174;       // WiFiAutoCfg.ControlOption
inline constexpr int kWifiConfigFlag = 175;       // WiFiAutoCfg.WIFIConfigFlag
inline constexpr int kExtenderFirstbootMac = 203; // L2DevCtrl_Firstboot.HostMAC
// Device.X_Halvo_Ext: approval and checked lists
inline constexpr int kApprove = 176;              // WiFiAutoCfgApprove
inline constexpr int kApproveEnable = 177;        // WiFiAutoCfgApprove.Enable
inline constexpr int kApproveEntry = 180;         // WiFiAutoCfgApproveData.{i}
inline constexpr int kApproveEntryMac = 181;      // WiFiAutoCfgApproveData.{i}.MACAddress
inline constexpr int kApproveEntryOption = 182;   // WiFiAutoCfgApproveData.{i}.Option
inline constexpr int kCheckedEntry = 216;         // NewDeviceCheckedList.{i}
inline constexpr int kCheckedEntryMac = 217;      // NewDeviceCheckedList.{i}.MACAddress
inline constexpr int kCheckedEntryOption = 218;   // NewDeviceCheckedList.{i}.Option
// Device.X_Halvo_Ext: extender configuration
inline constexpr int kExtenderAutoCfg = 183;      // L2DevCtrl_AutoCfg
inline constexpr int kExtenderFwCfg = 186;        // L2DevCtrl_FWCfg
inline constexpr int kByTime = 207;               // WiFiAutoCfgByTime
inline constexpr int kByTimeDeviceMode = 208;     // WiFiAutoCfgByTime.DeviceMode
inline constexpr int kByTimeControl = 209;        // WiFiAutoCfgByTime.ControlOption
inline constexpr int kByTimeTime = 210;           // WiFiAutoCfgByTime.Time
inline constexpr int kWps = 302;                  // WPS
// Device.X_Halvo_Ext: hosts
inline constexpr int kDevNameChange = 252;        // DevNameChange
inline constexpr int kHostTypeChange = 255;       // HostTypeChange
// Diagnostics, routes and WAN
inline constexpr int kTraceRoute = 220;           // Device.IP.Diagnostics.TraceRoute
inline constexpr int kRouteHop = 228;             // Device.IP.Diagnostics.TraceRoute.RouteHops.{i}
inline constexpr int kRouter = 232;               // Device.X_Halvo_Ext.Router
inline constexpr int kForwarding = 235;           // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}
inline constexpr int kWanInfo = 245;              // Device.X_Halvo_Ext.DeviceInfo.WanInfo
// Device.X_Halvo_Ext.Tovi123 (quick setup)
inline constexpr int kTovi123 = 276;              // Tovi123
inline constexpr int kWan = 282;                  // Tovi123.Wan
inline constexpr int kWanStatic = 284;            // Tovi123.Wan.Static
inline constexpr int kWanPppoe = 289;             // Tovi123.Wan.PPPoE
inline constexpr int kWanPptp = 293;              // Tovi123.Wan.PPTP

// Commands: a get of one is an error by design, so reads of a whole object leave
// them out.
inline constexpr std::array kWriteOnly = {kHostAddPcpRule,    kBlockMac,          kUnblockMac,
                                          kExtenderRebootMac, kExtenderWifiOnMac, kExtenderWifiOffMac,
                                          kExtenderFirstbootMac};

}  // namespace pemo::node
