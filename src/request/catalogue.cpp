// The parameter catalogue: every node of the tree, in table order, with the handler
// and argument text that serve it. Find a node's handler here, then its subsystem.
#include <algorithm>
#include <array>
#include <string_view>

#include "control/control.h"
#include "diag/diag.h"
#include "firmware/firmware.h"
#include "info/info.h"
#include "quicksetup/quicksetup.h"
#include "contract/nodes.h"
#include "request/param_tree.h"
#include "wifi/wifi.h"

namespace pemo {
namespace {

// clang-format off
constexpr std::array<ParamNode, kNodeCount> kCatalogue{{
    // index, parent, name, type, handler, argument        // path
    {0, 0, "Device", kObject, nullptr, nullptr},  // Device
    {1, 0, "WiFi", kObject, nullptr, nullptr},  // Device.WiFi
    {3, 0, "Hosts", kObject, nullptr, nullptr},  // Device.Hosts
    {4, 0, "X_Halvo_Ext", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext
    {5, 0, "LANConfigSecurity", kObject, nullptr, nullptr},  // Device.LANConfigSecurity
    {69, 0, "DeviceInfo", kObject, nullptr, nullptr},  // Device.DeviceInfo
    {122, 0, "PPP", kObject, nullptr, nullptr},  // Device.PPP
    {128, 0, "DHCPv4", kObject, nullptr, nullptr},  // Device.DHCPv4
    {132, 0, "IP", kObject, nullptr, nullptr},  // Device.IP
    {140, 0, "Routing", kObject, nullptr, nullptr},  // Device.Routing
    {146, 0, "DNS", kObject, nullptr, nullptr},  // Device.DNS
    {20, 1, "SSID", kObject, nullptr, nullptr},  // Device.WiFi.SSID
    {21, 1, "Radio", kObject, nullptr, nullptr},  // Device.WiFi.Radio
    {22, 20, "i", kObject, nullptr, nullptr},  // Device.WiFi.SSID.{i}
    {23, 21, "i", kObject, nullptr, nullptr},  // Device.WiFi.Radio.{i}
    {24, 22, "SSID", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.SSID.{i}.SSID
    {272, 22, "CheckFreqBand", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.SSID.{i}.CheckFreqBand
    {86, 22, "Enable", kInt, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.SSID.{i}.Enable
    {274, 22, "SSIDDefault", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.SSID.{i}.SSIDDefault
    {25, 23, "Channel", kInt, uci_param_handler, "WIFI_CHANNEL"},  // Device.WiFi.Radio.{i}.Channel
    {26, 1, "AccessPointNumberOfEntries", kInt, misc_param_handler, "AP_ENTRY_NUM"},  // Device.WiFi.AccessPointNumberOfEntries
    {27, 1, "AccessPoint", kObject, nullptr, nullptr},  // Device.WiFi.AccessPoint
    {28, 27, "i", kObject, nullptr, nullptr},  // Device.WiFi.AccessPoint.{i}
    {29, 28, "AssociatedDeviceNumberOfEntries", kInt, misc_param_handler, "TOTAL_ASSOCIATION"},  // Device.WiFi.AccessPoint.{i}.AssociatedDeviceNumberOfEntries
    {30, 28, "AssociatedDevice", kObject, nullptr, nullptr},  // Device.WiFi.AccessPoint.{i}.AssociatedDevice
    {31, 30, "i", kObject, nullptr, nullptr},  // Device.WiFi.AccessPoint.{i}.AssociatedDevice.{i}
    {32, 31, "MACAddress", kString, misc_param_handler, "ASSOCIATE_DEVICE_MAC"},  // Device.WiFi.AccessPoint.{i}.AssociatedDevice.{i}.MACAddress
    {48, 23, "TransmitPowerSupported", kString, misc_param_handler, "GET_SUPPORT_TXPOWER"},  // Device.WiFi.Radio.{i}.TransmitPowerSupported
    {49, 23, "TransmitPower", kInt, uci_param_handler, "GET_TXPOWER"},  // Device.WiFi.Radio.{i}.TransmitPower
    {50, 23, "AutoChannelEnable", kInt, uci_param_handler, "GET_AUTOCHANNEL_SELECT"},  // Device.WiFi.Radio.{i}.AutoChannelEnable
    {51, 23, "AutoChannelSupported", kString, misc_param_handler, "GET_SUPPORT_AUTOCHANNEL"},  // Device.WiFi.Radio.{i}.AutoChannelSupported
    {54, 28, "Security", kObject, nullptr, nullptr},  // Device.WiFi.AccessPoint.{i}.Security
    {55, 54, "ModeEnabled", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.AccessPoint.{i}.Security.ModeEnabled
    {56, 54, "ModesSupported", kString, misc_param_handler, "GET_SECURITY_MODES"},  // Device.WiFi.AccessPoint.{i}.Security.ModesSupported
    {57, 54, "PreShareKey", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.AccessPoint.{i}.Security.PreShareKey
    {273, 54, "CheckFreqBand", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.AccessPoint.{i}.Security.CheckFreqBand
    {275, 54, "PreShareKeyDefault", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.AccessPoint.{i}.Security.PreShareKeyDefault
    {58, 1, "X_Halvo_GuestAP", kObject, nullptr, nullptr},  // Device.WiFi.X_Halvo_GuestAP
    {59, 58, "Enable", kInt, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.Enable
    {60, 58, "PreShareKey", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.PreShareKey
    {61, 58, "SSID", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.SSID
    {66, 1, "RadioNumberOfEntries", kInt, misc_param_handler, "0"},  // Device.WiFi.RadioNumberOfEntries
    {67, 1, "SSIDNumberOfEntries", kInt, misc_param_handler, "GET_SSID_NUMBER"},  // Device.WiFi.SSIDNumberOfEntries
    {80, 23, "Enable", kInt, action_param_handler, "1"},  // Device.WiFi.Radio.{i}.Enable
    {81, 23, "Status", kString, action_param_handler, "2"},  // Device.WiFi.Radio.{i}.Status
    {82, 23, "MaxBitRate", kString, action_param_handler, "3"},  // Device.WiFi.Radio.{i}.MaxBitRate
    {83, 23, "OperatingFrequencyBand", kString, action_param_handler, "4"},  // Device.WiFi.Radio.{i}.OperatingFrequencyBand
    {84, 23, "OperatingStandards", kString, action_param_handler, "5"},  // Device.WiFi.Radio.{i}.OperatingStandards
    {85, 23, "Channel", kInt, action_param_handler, nullptr},  // Device.WiFi.Radio.{i}.Channel
    {87, 22, "Status", kString, action_param_handler, "7"},  // Device.WiFi.SSID.{i}.Status
    {106, 58, "Security", kObject, nullptr, nullptr},  // Device.WiFi.X_Halvo_GuestAP.Security
    {107, 106, "ModeEnabled", kString, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.Security.ModeEnabled
    {258, 58, "Timer", kObject, nullptr, nullptr},  // Device.WiFi.X_Halvo_GuestAP.Timer
    {259, 258, "Hours", kInt, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.Timer.Hours
    {260, 258, "Minutes", kInt, uci_param_handler, "uci.wifi.custom"},  // Device.WiFi.X_Halvo_GuestAP.Timer.Minutes
    {33, 3, "HostNumberOfEntries", kInt, host_param_handler, "/tmp/lltd_num_lan"},  // Device.Hosts.HostNumberOfEntries
    {34, 3, "Host", kObject, nullptr, nullptr},  // Device.Hosts.Host
    {35, 34, "i", kObject, nullptr, nullptr},  // Device.Hosts.Host.{i}
    {36, 35, "PhysAddress", kString, host_param_handler, "/tmp/dhcp.leases"},  // Device.Hosts.Host.{i}.PhysAddress
    {37, 35, "HostName", kString, host_param_handler, "/tmp/dhcp.leases"},  // Device.Hosts.Host.{i}.HostName
    {38, 35, "X_Halvo_HostType", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_HostType
    {88, 35, "Active", kInt, action_param_handler, "8"},  // Device.Hosts.Host.{i}.Active
    {89, 35, "X_Halvo_Blocking", kString, action_param_handler, "9"},  // Device.Hosts.Host.{i}.X_Halvo_Blocking
    {90, 35, "X_Halvo_Parental_Blocking", kString, action_param_handler, "9"},  // Device.Hosts.Host.{i}.X_Halvo_Parental_Blocking
    {103, 35, "IPAddress", kString, host_param_handler, "/tmp/dhcp.leases"},  // Device.Hosts.Host.{i}.IPAddress
    {104, 35, "X_Halvo_AddPcpRule", kString, action_param_handler, "10"},  // Device.Hosts.Host.{i}.X_Halvo_AddPcpRule
    {108, 35, "X_Halvo_L2Device_ControllableMask", kInt, l2device_param_handler, "0"},  // Device.Hosts.Host.{i}.X_Halvo_L2Device_ControllableMask
    {109, 35, "X_Halvo_WiFiStatus", kInt, l2device_param_handler, "0"},  // Device.Hosts.Host.{i}.X_Halvo_WiFiStatus
    {151, 35, "SignalStrength", kInt, wifi_host_param_handler, nullptr},  // Device.Hosts.Host.{i}.SignalStrength
    {152, 35, "X_Halvo_WiFiSyncStatus", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_WiFiSyncStatus
    {153, 35, "X_Halvo_AutoCfgEnable", kInt, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_AutoCfgEnable
    {154, 35, "X_Halvo_CapabilityType", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_CapabilityType
    {155, 35, "X_Halvo_ConnectionType", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_ConnectionType
    {156, 35, "X_Halvo_DeviceName", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_DeviceName
    {157, 35, "X_Halvo_PhyRate", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_PhyRate
    {158, 35, "X_Halvo_SoftwareVersion", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_SoftwareVersion
    {159, 35, "X_Halvo_Neighbor", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Neighbor
    {160, 35, "X_Halvo_DL_Rate", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_DL_Rate
    {161, 35, "X_Halvo_UL_Rate", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_UL_Rate
    {162, 35, "X_Halvo_Conn_Guest", kInt, wifi_host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Conn_Guest
    {163, 35, "X_Halvo_Manufacturer", kString, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Manufacturer
    {164, 35, "X_Halvo_Channel_24G", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Channel_24G
    {165, 35, "X_Halvo_Channel_5G", kInt, host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Channel_5G
    {166, 35, "X_Halvo_RSSI", kInt, wifi_host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_RSSI
    {167, 35, "X_Halvo_Band", kInt, wifi_host_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_Band
    {168, 35, "X_Halvo_WiFiLinkRate_24G", kInt, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_WiFiLinkRate_24G
    {169, 35, "X_Halvo_WiFiLinkRate_5G", kInt, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_WiFiLinkRate_5G
    {170, 35, "X_Halvo_WIFI_Auto_Cfg_Approve", kInt, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_WIFI_Auto_Cfg_Approve
    {171, 35, "X_Halvo_NewDeviceFlag", kInt, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_NewDeviceFlag
    {172, 35, "X_Halvo_DeviceMode", kString, l2device_param_handler, nullptr},  // Device.Hosts.Host.{i}.X_Halvo_DeviceMode
    {65, 5, "ConfigPassword", kString, uci_param_handler, "system.main.pwd"},  // Device.LANConfigSecurity.ConfigPassword
    {70, 69, "SoftwareVersion", kString, fw_param_handler, "GET_SOFT_VER"},  // Device.DeviceInfo.SoftwareVersion
    {71, 69, "X_Halvo_SoftwareUpdateOTA", kObject, nullptr, nullptr},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA
    {72, 71, "CheckSoftwareVersion", kString, fw_param_handler, "CHECK_SOFT_VER"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.CheckSoftwareVersion
    {73, 71, "LatestSoftwareVersion", kString, fw_param_handler, "GET_LATESTSOFT_VER"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.LatestSoftwareVersion
    {74, 71, "NewSoftwareVersion", kString, fw_param_handler, "GET_NEW_SOFT_VER"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.NewSoftwareVersion
    {75, 71, "UpdateSoftware", kString, fw_param_handler, "UPDATE_SOFT_VER"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.UpdateSoftware
    {76, 71, "HasNewSoftware", kInt, fw_param_handler, "HAS_NEW_SOFT"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.HasNewSoftware
    {77, 71, "UpdateSoftwareStatus", kString, fw_param_handler, "UPDATE_SOFT_STATUS"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.UpdateSoftwareStatus
    {78, 71, "FWUpgradeState", kInt, fw_param_handler, "FW_UPGRADE_STATUS"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.FWUpgradeState
    {79, 71, "Newfirmwaredate", kString, fw_param_handler, "NEW_FW_DATE"},  // Device.DeviceInfo.X_Halvo_SoftwareUpdateOTA.Newfirmwaredate
    {123, 122, "Interface", kObject, nullptr, nullptr},  // Device.PPP.Interface
    {124, 123, "i", kObject, nullptr, nullptr},  // Device.PPP.Interface.{i}
    {125, 124, "Enable", kInt, action_param_handler, "18"},  // Device.PPP.Interface.{i}.Enable
    {126, 124, "Username", kString, action_param_handler, "18"},  // Device.PPP.Interface.{i}.Username
    {127, 124, "Password", kString, action_param_handler, "18"},  // Device.PPP.Interface.{i}.Password
    {129, 128, "Client", kObject, nullptr, nullptr},  // Device.DHCPv4.Client
    {130, 129, "i", kObject, nullptr, nullptr},  // Device.DHCPv4.Client.{i}
    {131, 130, "Enable", kInt, action_param_handler, "19"},  // Device.DHCPv4.Client.{i}.Enable
    {133, 132, "Interface", kObject, nullptr, nullptr},  // Device.IP.Interface
    {134, 133, "i", kObject, nullptr, nullptr},  // Device.IP.Interface.{i}
    {135, 134, "AutoIPEnable", kInt, nullptr, nullptr},  // Device.IP.Interface.{i}.AutoIPEnable
    {136, 134, "IPv4Address", kObject, nullptr, nullptr},  // Device.IP.Interface.{i}.IPv4Address
    {137, 136, "i", kObject, nullptr, nullptr},  // Device.IP.Interface.{i}.IPv4Address.{i}
    {138, 137, "IPAddress", kString, action_param_handler, "20"},  // Device.IP.Interface.{i}.IPv4Address.{i}.IPAddress
    {139, 137, "SubnetMask", kString, action_param_handler, "20"},  // Device.IP.Interface.{i}.IPv4Address.{i}.SubnetMask
    {219, 132, "Diagnostics", kObject, nullptr, nullptr},  // Device.IP.Diagnostics
    {220, 219, "TraceRoute", kObject, nullptr, nullptr},  // Device.IP.Diagnostics.TraceRoute
    {221, 220, "DiagnosticsState", kString, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.DiagnosticsState
    {222, 220, "Host", kString, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.Host
    {223, 220, "NumberOfTries", kInt, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.NumberOfTries
    {224, 220, "Timeout", kInt, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.Timeout
    {225, 220, "MaxHopCount", kInt, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.MaxHopCount
    {226, 220, "RouteHopsNumberOfEntries", kInt, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHopsNumberOfEntries
    {227, 220, "RouteHops", kObject, nullptr, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHops
    {228, 227, "i", kObject, nullptr, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHops.{i}
    {229, 228, "Host", kString, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHops.{i}.Host
    {230, 228, "HostAddress", kString, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHops.{i}.HostAddress
    {231, 228, "RTTimes", kString, diag_param_handler, nullptr},  // Device.IP.Diagnostics.TraceRoute.RouteHops.{i}.RTTimes
    {141, 140, "Router", kObject, nullptr, nullptr},  // Device.Routing.Router
    {142, 141, "i", kObject, nullptr, nullptr},  // Device.Routing.Router.{i}
    {143, 142, "IPv4Forwarding", kObject, nullptr, nullptr},  // Device.Routing.Router.{i}.IPv4Forwarding
    {144, 143, "i", kObject, nullptr, nullptr},  // Device.Routing.Router.{i}.IPv4Forwarding.{i}
    {145, 144, "GatewayIPAddress", kString, action_param_handler, "20"},  // Device.Routing.Router.{i}.IPv4Forwarding.{i}.GatewayIPAddress
    {147, 146, "Client", kObject, nullptr, nullptr},  // Device.DNS.Client
    {148, 147, "Server", kObject, nullptr, nullptr},  // Device.DNS.Client.Server
    {149, 148, "i", kObject, nullptr, nullptr},  // Device.DNS.Client.Server.{i}
    {150, 149, "DNSServer", kString, action_param_handler, "20"},  // Device.DNS.Client.Server.{i}.DNSServer
    {62, 4, "AppInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.AppInfo
    {63, 62, "MagicNum", kString, misc_param_handler, "GET_MAGIC_NUM"},  // Device.X_Halvo_Ext.AppInfo.MagicNum
    {64, 62, "AppVersion", kInt, misc_param_handler, "GET_APP_VER"},  // Device.X_Halvo_Ext.AppInfo.AppVersion
    {91, 4, "ParentalControlNumberOfEntries", kInt, misc_param_handler, "GET_PARENTAL_NOE"},  // Device.X_Halvo_Ext.ParentalControlNumberOfEntries
    {92, 4, "ParentalControl", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.ParentalControl
    {93, 92, "i", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.ParentalControl.{i}
    {94, 93, "HostMAC", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.HostMAC
    {95, 93, "Enable", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Enable
    {96, 93, "PcpName", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.PcpName
    {97, 93, "Scheduling", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling
    {98, 97, "Days", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling.Days
    {99, 97, "TimeStartHour", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling.TimeStartHour
    {100, 97, "TimeStartMin", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling.TimeStartMin
    {101, 97, "TimeStopHour", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling.TimeStopHour
    {102, 97, "TimeStopMin", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Scheduling.TimeStopMin
    {105, 93, "Delete", kString, uci_param_handler, "parental.custom.custom"},  // Device.X_Halvo_Ext.ParentalControl.{i}.Delete
    {110, 4, "EndDevCtrl_Blocking", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.EndDevCtrl_Blocking
    {111, 110, "HostMAC", kString, action_param_handler, "11"},  // Device.X_Halvo_Ext.EndDevCtrl_Blocking.HostMAC
    {112, 4, "EndDevCtrl_UnBlocking", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.EndDevCtrl_UnBlocking
    {113, 112, "HostMAC", kString, action_param_handler, "12"},  // Device.X_Halvo_Ext.EndDevCtrl_UnBlocking.HostMAC
    {114, 4, "L2DevCtrl_Reboot", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_Reboot
    {115, 114, "HostMAC", kString, action_param_handler, "13"},  // Device.X_Halvo_Ext.L2DevCtrl_Reboot.HostMAC
    {116, 4, "L2DevCtrl_WiFiON", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_WiFiON
    {117, 116, "HostMAC", kString, action_param_handler, "14"},  // Device.X_Halvo_Ext.L2DevCtrl_WiFiON.HostMAC
    {118, 4, "L2DevCtrl_WiFiOff", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_WiFiOff
    {119, 118, "HostMAC", kString, action_param_handler, "15"},  // Device.X_Halvo_Ext.L2DevCtrl_WiFiOff.HostMAC
    {120, 4, "Reboot", kInt, action_param_handler, "16"},  // Device.X_Halvo_Ext.Reboot
    {121, 4, "FactoryReset", kInt, action_param_handler, "17"},  // Device.X_Halvo_Ext.FactoryReset
    {202, 4, "L2DevCtrl_Firstboot", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_Firstboot
    {203, 202, "HostMAC", kString, action_param_handler, "22"},  // Device.X_Halvo_Ext.L2DevCtrl_Firstboot.HostMAC
    {173, 4, "WiFiAutoCfg", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfg
    {174, 173, "ControlOption", kInt, action_param_handler, "21"},  // Device.X_Halvo_Ext.WiFiAutoCfg.ControlOption
    {175, 173, "WIFIConfigFlag", kInt, action_param_handler, "21"},  // Device.X_Halvo_Ext.WiFiAutoCfg.WIFIConfigFlag
    {176, 4, "WiFiAutoCfgApprove", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApprove
    {177, 176, "Enable", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApprove.Enable
    {178, 176, "WiFiAutoCfgApproveNumberOfEntries", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApprove.WiFiAutoCfgApproveNumberOfEntries
    {179, 4, "WiFiAutoCfgApproveData", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApproveData
    {180, 179, "i", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApproveData.{i}
    {181, 180, "MACAddress", kString, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApproveData.{i}.MACAddress
    {182, 180, "Option", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgApproveData.{i}.Option
    {207, 4, "WiFiAutoCfgByTime", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgByTime
    {208, 207, "DeviceMode", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgByTime.DeviceMode
    {209, 207, "ControlOption", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgByTime.ControlOption
    {210, 207, "Time", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiAutoCfgByTime.Time
    {183, 4, "L2DevCtrl_AutoCfg", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_AutoCfg
    {184, 183, "HostMAC", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_AutoCfg.HostMAC
    {185, 183, "ControlOption", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_AutoCfg.ControlOption
    {186, 4, "L2DevCtrl_FWCfg", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg
    {187, 186, "HostMAC", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.HostMAC
    {188, 186, "ControlOption", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.ControlOption
    {189, 186, "AdditionalOption", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.AdditionalOption
    {190, 186, "AdditionalURL", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.AdditionalURL
    {191, 186, "NewFWUpgradeState", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.NewFWUpgradeState
    {192, 186, "NewFWUpgradeSuccess", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.L2DevCtrl_FWCfg.NewFWUpgradeSuccess
    {193, 4, "FWNumberOfEntries", kInt, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWNumberOfEntries
    {194, 4, "FWUpgrade", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.FWUpgrade
    {195, 194, "i", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}
    {196, 195, "ModelName", kString, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.ModelName
    {197, 195, "MACAddress", kString, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.MACAddress
    {198, 195, "Newfirmware", kInt, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.Newfirmware
    {199, 195, "NewFWUpgradeState", kInt, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.NewFWUpgradeState
    {200, 195, "NewFWUpgradeVersion", kString, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.NewFWUpgradeVersion
    {201, 195, "Newfirmwaredate", kString, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.FWUpgrade.{i}.Newfirmwaredate
    {204, 4, "WiFiconfigValue", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WiFiconfigValue
    {205, 204, "HostMAC", kString, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiconfigValue.HostMAC
    {206, 204, "RSSI", kInt, fw_list_param_handler, nullptr},  // Device.X_Halvo_Ext.WiFiconfigValue.RSSI
    {211, 4, "GatewayInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.GatewayInfo
    {212, 211, "GatewayHostname", kString, uci_param_handler, nullptr},  // Device.X_Halvo_Ext.GatewayInfo.GatewayHostname
    {213, 211, "GatewayHostMAC", kString, uci_param_handler, nullptr},  // Device.X_Halvo_Ext.GatewayInfo.GatewayHostMAC
    {214, 211, "GatewayAutoCfg", kInt, uci_param_handler, nullptr},  // Device.X_Halvo_Ext.GatewayInfo.GatewayAutoCfg
    {215, 4, "NewDeviceCheckedList", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.NewDeviceCheckedList
    {216, 215, "i", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.NewDeviceCheckedList.{i}
    {217, 216, "MACAddress", kString, action_param_handler, nullptr},  // Device.X_Halvo_Ext.NewDeviceCheckedList.{i}.MACAddress
    {218, 216, "Option", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.NewDeviceCheckedList.{i}.Option
    {232, 4, "Router", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Router
    {233, 232, "IPv4ForwardingNumberOfEntries", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.Router.IPv4ForwardingNumberOfEntries
    {234, 232, "IPv4Forwarding", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding
    {235, 234, "i", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}
    {236, 235, "DestIPAddress", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}.DestIPAddress
    {237, 235, "DestSubnetMask", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}.DestSubnetMask
    {238, 235, "GatewayIPAddress", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}.GatewayIPAddress
    {239, 235, "X_Halvo_Interface", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.Router.IPv4Forwarding.{i}.X_Halvo_Interface
    {240, 4, "DeviceInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.DeviceInfo
    {241, 240, "UpTime", kInt, host_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.UpTime
    {242, 240, "SystemTime", kString, host_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.SystemTime
    {243, 240, "ProcessStatus", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.ProcessStatus
    {244, 243, "CPUUsage", kInt, host_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.ProcessStatus.CPUUsage
    {245, 240, "WanInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo
    {246, 245, "WanStatus", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.WanStatus
    {247, 245, "Wan_IPAddress", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.Wan_IPAddress
    {248, 245, "Wan_PhyRate", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.Wan_PhyRate
    {249, 245, "Wan_Mac", kString, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.Wan_Mac
    {250, 245, "Wan_RX_Rate", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.Wan_RX_Rate
    {251, 245, "Wan_TX_Rate", kInt, diag_param_handler, nullptr},  // Device.X_Halvo_Ext.DeviceInfo.WanInfo.Wan_TX_Rate
    {252, 4, "DevNameChange", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.DevNameChange
    {253, 252, "HostMAC", kString, host_param_handler, nullptr},  // Device.X_Halvo_Ext.DevNameChange.HostMAC
    {254, 252, "Name", kString, host_param_handler, nullptr},  // Device.X_Halvo_Ext.DevNameChange.Name
    {255, 4, "HostTypeChange", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.HostTypeChange
    {256, 255, "HostMAC", kString, host_param_handler, nullptr},  // Device.X_Halvo_Ext.HostTypeChange.HostMAC
    {257, 255, "HostType", kInt, host_param_handler, nullptr},  // Device.X_Halvo_Ext.HostTypeChange.HostType
    {261, 4, "SpeedTestInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.SpeedTestInfo
    {262, 261, "URL", kString, misc_param_handler, "SpeedTest_URL"},  // Device.X_Halvo_Ext.SpeedTestInfo.URL
    {263, 261, "ActionType", kString, misc_param_handler, "SpeedTest_Type"},  // Device.X_Halvo_Ext.SpeedTestInfo.ActionType
    {264, 261, "End", kInt, misc_param_handler, "SpeedTestEnd"},  // Device.X_Halvo_Ext.SpeedTestInfo.End
    {265, 261, "UploadSpeed", kString, misc_param_handler, "UploadSpeed"},  // Device.X_Halvo_Ext.SpeedTestInfo.UploadSpeed
    {266, 261, "DownloadSpeed", kString, misc_param_handler, "DownloadSpeed"},  // Device.X_Halvo_Ext.SpeedTestInfo.DownloadSpeed
    {267, 4, "GwSpeedTestInfo", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.GwSpeedTestInfo
    {268, 267, "ServerPort", kInt, misc_param_handler, "ServerPort"},  // Device.X_Halvo_Ext.GwSpeedTestInfo.ServerPort
    {269, 267, "Enable", kInt, misc_param_handler, "Enable"},  // Device.X_Halvo_Ext.GwSpeedTestInfo.Enable
    {270, 4, "Description", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Description
    {271, 270, "GatewayDescription", kInt, host_param_handler, nullptr},  // Device.X_Halvo_Ext.Description.GatewayDescription
    {276, 4, "Tovi123", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Tovi123
    {277, 276, "WanHWConnection", kInt, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WanHWConnection
    {278, 276, "WiFiHWButton", kInt, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WiFiHWButton
    {279, 276, "WanInternetConnection", kInt, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WanInternetConnection
    {280, 276, "WiFiAction", kInt, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WiFiAction
    {281, 276, "WanAction", kInt, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WanAction
    {283, 276, "WanType", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.WanType
    {282, 276, "Wan", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan
    {283, 282, "WanType", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.WanType
    {284, 282, "Static", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.Static
    {285, 284, "StaticIP", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.Static.StaticIP
    {286, 284, "Netmask", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.Static.Netmask
    {287, 284, "Gateway", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.Static.Gateway
    {288, 284, "Dns", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.Static.Dns
    {289, 282, "PPPoE", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPPoE
    {290, 289, "Account", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPPoE.Account
    {291, 289, "Password", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPPoE.Password
    {292, 289, "StaticWan", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPPoE.StaticWan
    {293, 282, "PPTP", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP
    {294, 293, "Type", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.Type
    {295, 293, "Account", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.Account
    {296, 293, "Password", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.Password
    {301, 293, "ServerIP", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.ServerIP
    {297, 293, "StaticIP", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.StaticIP
    {298, 293, "Netmask", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.Netmask
    {299, 293, "Gateway", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.Gateway
    {300, 293, "StaticWan", kString, quick_setup_param_handler, nullptr},  // Device.X_Halvo_Ext.Tovi123.Wan.PPTP.StaticWan
    {302, 4, "WPS", kObject, nullptr, nullptr},  // Device.X_Halvo_Ext.WPS
    {303, 302, "Action", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WPS.Action
    {304, 302, "Status", kInt, action_param_handler, nullptr},  // Device.X_Halvo_Ext.WPS.Status
}};
// clang-format on

// A broken table does not compile: every parent must stand before its children,
// and no index may repeat except 283 (the two WanType leaves, nobody's parent).
constexpr bool catalogue_is_well_formed() {
  for (std::size_t k = 0; k < kCatalogue.size(); ++k) {
    const ParamNode& node = kCatalogue[k];
    bool parent_seen = k == 0;
    for (std::size_t e = 0; e < k; ++e) {
      if (kCatalogue[e].index == node.index && node.index != 283) return false;
      if (kCatalogue[e].index == node.parent) parent_seen = true;
    }
    if (!parent_seen || node.parent == 283) return false;
    if (node.type == kObject && node.handler != nullptr) return false;
  }
  return kCatalogue[0].index == 0 && kCatalogue[0].parent == 0;
}
static_assert(catalogue_is_well_formed(), "parameter catalogue is malformed");

// The walk hands a node's argument text to its handler as it stands: one that held
// '$' or '&', which once stood for instance digits, would now reach it literally.
constexpr bool arguments_are_literal() {
  for (const ParamNode& node : kCatalogue)
    if (node.argument != nullptr && std::string_view(node.argument).find_first_of("$&") != std::string_view::npos)
      return false;
  return true;
}
static_assert(arguments_are_literal(), "an argument text holds '$' or '&'");

// Handlers that dispatch by argument text serve every node bound to them: a node
// whose argument has no row in its handler's table does not compile.
template <std::size_t kKeys>
constexpr bool arguments_served(ParamHandler handler, const std::string_view (&keys)[kKeys]) {
  for (const ParamNode& node : kCatalogue) {
    const std::string_view argument = node.argument == nullptr ? "" : node.argument;
    if (node.handler == handler && std::find(std::begin(keys), std::end(keys), argument) == std::end(keys))
      return false;
  }
  return true;
}
#if !defined(PEMO_NO_CONSTANT_FUNCTION_COMPARE)
static_assert(arguments_served(misc_param_handler, kMiscArguments), "a misc node's argument has no row");
static_assert(arguments_served(uci_param_handler, kUciArguments), "a UCI node's argument has no row");
static_assert(arguments_served(fw_param_handler, kFirmwareArguments), "a firmware node's argument has no row");
#endif

// Every name of contract/nodes.h stands for the node it says: member name and parent.
struct NamedNode {
  int index;
  const char* name;
  int parent;
};
constexpr NamedNode kNamedNodes[] = {
    {node::kHosts, "Hosts", 0},
    {node::kSsidInstance, "i", 20},
    {node::kRadioInstance, "i", 21},
    {node::kRadioChannel, "Channel", node::kRadioInstance},
    {node::kRadioEnable, "Enable", node::kRadioInstance},
    {node::kRadioStatus, "Status", node::kRadioInstance},
    {node::kRadioMaxBitRate, "MaxBitRate", node::kRadioInstance},
    {node::kRadioBand, "OperatingFrequencyBand", node::kRadioInstance},
    {node::kRadioStandards, "OperatingStandards", node::kRadioInstance},
    {node::kRadioActionChannel, "Channel", node::kRadioInstance},
    {node::kHostInstance, "i", 34},
    {node::kHostPhysAddress, "PhysAddress", node::kHostInstance},
    {node::kHostActive, "Active", node::kHostInstance},
    {node::kHostBlocking, "X_Halvo_Blocking", node::kHostInstance},
    {node::kHostParentalBlocking, "X_Halvo_Parental_Blocking", node::kHostInstance},
    {node::kHostAddPcpRule, "X_Halvo_AddPcpRule", node::kHostInstance},
    {node::kBlockMac, "HostMAC", 110},
    {node::kUnblockMac, "HostMAC", 112},
    {node::kExtenderRebootMac, "HostMAC", 114},
    {node::kExtenderWifiOnMac, "HostMAC", 116},
    {node::kExtenderWifiOffMac, "HostMAC", 118},
    {node::kReboot, "Reboot", 4},
    {node::kFactoryReset, "FactoryReset", 4},
    {node::kAutoCfgControl, "ControlOption", 173},
    {node::kWifiConfigFlag, "WIFIConfigFlag", 173},
    {node::kExtenderFirstbootMac, "HostMAC", 202},
    {node::kApprove, "WiFiAutoCfgApprove", 4},
    {node::kApproveEnable, "Enable", node::kApprove},
    {node::kApproveEntry, "i", 179},
    {node::kApproveEntryMac, "MACAddress", node::kApproveEntry},
    {node::kApproveEntryOption, "Option", node::kApproveEntry},
    {node::kCheckedEntry, "i", 215},
    {node::kCheckedEntryMac, "MACAddress", node::kCheckedEntry},
    {node::kCheckedEntryOption, "Option", node::kCheckedEntry},
    {node::kExtenderAutoCfg, "L2DevCtrl_AutoCfg", 4},
    {node::kExtenderFwCfg, "L2DevCtrl_FWCfg", 4},
    {node::kByTime, "WiFiAutoCfgByTime", 4},
    {node::kByTimeDeviceMode, "DeviceMode", node::kByTime},
    {node::kByTimeControl, "ControlOption", node::kByTime},
    {node::kByTimeTime, "Time", node::kByTime},
    {node::kWps, "WPS", 4},
    {node::kDevNameChange, "DevNameChange", 4},
    {node::kHostTypeChange, "HostTypeChange", 4},
    {node::kTraceRoute, "TraceRoute", 219},
    {node::kRouteHop, "i", 227},
    {node::kRouter, "Router", 4},
    {node::kForwarding, "i", 234},
    {node::kWanInfo, "WanInfo", 240},
    {node::kTovi123, "Tovi123", 4},
    {node::kWan, "Wan", node::kTovi123},
    {node::kWanStatic, "Static", node::kWan},
    {node::kWanPppoe, "PPPoE", node::kWan},
    {node::kWanPptp, "PPTP", node::kWan},
};

constexpr bool named_nodes_match() {
  for (const NamedNode& named : kNamedNodes) {
    bool found = false;
    for (const ParamNode& node : kCatalogue)
      found = found || (node.index == named.index && node.parent == named.parent &&
                        std::string_view(node.name) == named.name);
    if (!found) return false;
  }
  return true;
}
static_assert(named_nodes_match(), "a name of contract/nodes.h does not match its catalogue row");

struct HandlerName {
  ParamHandler handler;
  const char* name;
};
#define PEMO_HANDLER(fn) HandlerName{fn, #fn}
constexpr HandlerName kHandlerNames[] = {
    PEMO_HANDLER(action_param_handler),  PEMO_HANDLER(diag_param_handler),
    PEMO_HANDLER(fw_list_param_handler), PEMO_HANDLER(fw_param_handler),
    PEMO_HANDLER(host_param_handler),    PEMO_HANDLER(l2device_param_handler),
    PEMO_HANDLER(misc_param_handler),    PEMO_HANDLER(quick_setup_param_handler),
    PEMO_HANDLER(uci_param_handler),     PEMO_HANDLER(wifi_host_param_handler),
};
#undef PEMO_HANDLER

}  // namespace

std::span<const ParamNode, kNodeCount> param_table() { return kCatalogue; }

const char* handler_name(ParamHandler handler) {
  for (const HandlerName& entry : kHandlerNames)
    if (entry.handler == handler) return entry.name;
  return "?";
}

}  // namespace pemo
